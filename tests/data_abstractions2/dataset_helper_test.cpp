#include "data_abstractions2/i_dataset_helper.h"

#include <atomic>
#include <cstdint>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <boost/thread/thread.hpp>
#include <gtest/gtest.h>

#include "tests/data_abstractions2/test_tree.h"

namespace data_abstractions2 {
namespace {

using fakes::TreeDataset;

using fakes::TestProgress;

/// Logs every call as "pre<id>(<parent bag's id>)" or "post<id>[<child ids>]";
/// each row returns a bag with its own id.
class RecordingHandler : public IVisitHandler<INode<IRowSpecification>> {
 public:
  variant_bag_t handlePreVisit(row_t row, const variant_bag_t& fromParent, bool& descend) override {
    noteCancel();
    EXPECT_TRUE(descend) << "descend must start out true";
    const variant_t* from = fromParent.get("id");
    log_.push_back("pre" + std::to_string(row->getId()) + "(" + (from ? from->to_string() : "") + ")");
    if (stopAt_.count(row->getId())) descend = false;
    return bagOf(row);
  }
  variant_bag_t handlePostVisit(row_t row, const std::vector<variant_bag_t>& fromChildren) override {
    noteCancel();
    std::string entry = "post" + std::to_string(row->getId()) + "[";
    for (std::size_t i = 0; i < fromChildren.size(); ++i) {
      entry += (i ? "," : "") + fromChildren[i].get("id")->to_string();
    }
    log_.push_back(entry + "]");
    return bagOf(row);
  }

  std::vector<std::string> log_;
  std::set<std::uint64_t> stopAt_;
  const TestProgress* progress_ = nullptr;
  int callsAfterCancel_ = 0;

 private:
  static variant_bag_t bagOf(const row_t& row) {
    variant_bag_t bag;
    bag.put("id", row->getId());
    return bag;
  }
  void noteCancel() {
    if (progress_ && progress_->isCanceled()) ++callsAfterCancel_;
  }
};

class RejectingFilter : public IFilter<Grouping> {
 public:
  explicit RejectingFilter(std::set<std::uint64_t> rejected) : rejected_(std::move(rejected)) {}
  bool accept(const row_t& row) const override { return !rejected_.count(row->getId()); }

 private:
  std::set<std::uint64_t> rejected_;
};

//  1          7
//  ├─ 2
//  │  ├─ 4
//  │  └─ 5
//  └─ 3
//     └─ 6
// with a null root between 1 and 7.
sptr_t<TreeDataset> smallTree() {
  sptr_t<TreeDataset> ds = foundation::pool_allocate<TreeDataset>();
  ds->add(1);
  ds->add(2, 1);
  ds->add(4, 2);
  ds->add(5, 2);
  ds->add(3, 1);
  ds->add(6, 3);
  ds->addNullRoot();
  ds->add(7);
  return ds;
}

using Log = std::vector<std::string>;

struct WalkCase {
  const char* name;
  int mode;
  std::set<std::uint64_t> stopAt;
  std::set<std::uint64_t> rejected;
  Log expected;
};

void PrintTo(const WalkCase& c, std::ostream* os) { *os << c.name; }

class WalkOrderTest : public ::testing::TestWithParam<WalkCase> {};

TEST_P(WalkOrderTest, VisitsInOrderWithBags) {
  const WalkCase& c = GetParam();
  sptr_t<TreeDataset> ds = smallTree();
  auto handler = foundation::pool_allocate<RecordingHandler>();
  handler->stopAt_ = c.stopAt;
  sptr_t<IFilter<Grouping>> filter;
  if (!c.rejected.empty()) filter = foundation::pool_allocate<RejectingFilter, IFilter<Grouping>>(c.rejected);
  TestProgress progress;

  sptr_t<IDatasetHelper> walker = IDatasetHelper::create(ds);
  ASSERT_TRUE(walker);
  EXPECT_TRUE(walker->visitRows(filter, handler, c.mode, &progress));
  EXPECT_EQ(handler->log_, c.expected);

  // One step per visited row, whatever the mode.
  std::set<std::string> rows;
  for (const auto& entry : c.expected) rows.insert(entry.substr(entry.find_first_of("0123456789"), 1));
  EXPECT_EQ(progress.steps_, static_cast<int>(rows.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Modes, WalkOrderTest,
    ::testing::Values(
        WalkCase{"pre", 1, {}, {}, {"pre1()", "pre2(1)", "pre4(2)", "pre5(2)", "pre3(1)", "pre6(3)", "pre7()"}},
        WalkCase{"post", 2, {}, {},
                 {"post4[]", "post5[]", "post2[4,5]", "post6[]", "post3[6]", "post1[2,3]", "post7[]"}},
        WalkCase{"both", 3, {}, {},
                 {"pre1()", "pre2(1)", "pre4(2)", "post4[]", "pre5(2)", "post5[]", "post2[4,5]", "pre3(1)", "pre6(3)",
                  "post6[]", "post3[6]", "post1[2,3]", "pre7()", "post7[]"}},
        WalkCase{"preNoDescend", 1, {2}, {}, {"pre1()", "pre2(1)", "pre3(1)", "pre6(3)", "pre7()"}},
        WalkCase{"bothNoDescend", 3, {2, 7}, {},
                 {"pre1()", "pre2(1)", "post2[]", "pre3(1)", "pre6(3)", "post6[]", "post3[6]", "post1[2,3]", "pre7()",
                  "post7[]"}},
        // Post-visit alone has no pre-visit that could clear the flag.
        WalkCase{"postIgnoresStop", 2, {2}, {},
                 {"post4[]", "post5[]", "post2[4,5]", "post6[]", "post3[6]", "post1[2,3]", "post7[]"}},
        WalkCase{"preFiltered", 1, {}, {2, 7}, {"pre1()", "pre3(1)", "pre6(3)"}},
        WalkCase{"bothFiltered", 3, {}, {3}, {"pre1()", "pre2(1)", "pre4(2)", "post4[]", "pre5(2)", "post5[]",
                                               "post2[4,5]", "post1[2]", "pre7()", "post7[]"}},
        WalkCase{"filterHidesRoot", 2, {}, {1}, {"post7[]"}},
        WalkCase{"noMode", 0, {}, {}, {}}),
    [](const ::testing::TestParamInfo<WalkCase>& info) { return std::string(info.param.name); });

TEST(DatasetHelperTest, RowThatRefusesChildrenIsALeaf) {
  sptr_t<TreeDataset> ds = smallTree();
  ds->row(2).refuseChildren_ = true;
  auto handler = foundation::pool_allocate<RecordingHandler>();
  EXPECT_TRUE(IDatasetHelper::create(ds)->visitRows(nullptr, handler, 3, nullptr));
  EXPECT_EQ(handler->log_, (Log{"pre1()", "pre2(1)", "post2[]", "pre3(1)", "pre6(3)", "post6[]", "post3[6]",
                                "post1[2,3]", "pre7()", "post7[]"}));
  // Direct children, unfiltered.
  EXPECT_EQ(ds->row(1).lastQuery_, std::make_pair(0, 1));
}

TEST(DatasetHelperTest, GivenRootsReplaceTheDatasetsRoots) {
  sptr_t<TreeDataset> ds = smallTree();
  generic_iterator_t<row_t> roots(std::vector<row_t>{ds->getRow(3), ds->getRow(2)});
  sptr_t<IDatasetHelper> walker = IDatasetHelper::create(ds, roots);
  auto handler = foundation::pool_allocate<RecordingHandler>();
  EXPECT_TRUE(walker->visitRows(nullptr, handler, 1, nullptr));
  const Log expected{"pre3()", "pre6(3)", "pre2()", "pre4(2)", "pre5(2)"};
  EXPECT_EQ(handler->log_, expected);
  EXPECT_EQ(ds->rootQueries_, 0);

  // A second walk starts over from the same roots.
  handler->log_.clear();
  EXPECT_TRUE(walker->visitRows(nullptr, handler, 1, nullptr));
  EXPECT_EQ(handler->log_, expected);
}

TEST(DatasetHelperTest, NullArguments) {
  EXPECT_FALSE(IDatasetHelper::create(nullptr));
  EXPECT_FALSE(IDatasetHelper::create(nullptr, generic_iterator_t<row_t>()));
  sptr_t<TreeDataset> ds = smallTree();
  TestProgress progress;
  EXPECT_TRUE(IDatasetHelper::create(ds)->visitRows(nullptr, nullptr, 3, &progress));
  EXPECT_EQ(progress.steps_, 0);
  auto handler = foundation::pool_allocate<RecordingHandler>();
  EXPECT_TRUE(IDatasetHelper::create(ds, generic_iterator_t<row_t>())->visitRows(nullptr, handler, 3, &progress));
  EXPECT_TRUE(handler->log_.empty());
}

struct CancelCase {
  int mode;
  int cancelAfter;
  Log expected;
};

void PrintTo(const CancelCase& c, std::ostream* os) { *os << "mode " << c.mode << " after " << c.cancelAfter; }

class CancelTest : public ::testing::TestWithParam<CancelCase> {};

TEST_P(CancelTest, StopsBetweenRows) {
  sptr_t<TreeDataset> ds = smallTree();
  TestProgress progress(GetParam().cancelAfter);
  auto handler = foundation::pool_allocate<RecordingHandler>();
  handler->progress_ = &progress;
  EXPECT_FALSE(IDatasetHelper::create(ds)->visitRows(nullptr, handler, GetParam().mode, &progress));
  EXPECT_EQ(handler->log_, GetParam().expected);
  EXPECT_EQ(handler->callsAfterCancel_, 0);
  EXPECT_EQ(progress.steps_, GetParam().cancelAfter);
}

INSTANTIATE_TEST_SUITE_P(Modes, CancelTest,
                         ::testing::Values(CancelCase{1, 3, {"pre1()", "pre2(1)", "pre4(2)"}}, CancelCase{2, 3, {}},
                                           CancelCase{3, 3, {"pre1()", "pre2(1)", "pre4(2)"}},
                                           // Cancelled before the walk: nothing is visited.
                                           CancelCase{3, 0, {}}));

/// Counts calls and checks that bags travel one level per row.
class DepthHandler : public IVisitHandler<INode<IRowSpecification>> {
 public:
  variant_bag_t handlePreVisit(row_t, const variant_bag_t& fromParent, bool&) override {
    ++pre_;
    const variant_t* depth = fromParent.get("depth");
    variant_bag_t bag;
    bag.put("depth", (depth ? depth->as_i64() : 0) + 1);
    maxPreDepth_ = std::max(maxPreDepth_, bag.get("depth")->as_i64());
    return bag;
  }
  variant_bag_t handlePostVisit(row_t, const std::vector<variant_bag_t>& fromChildren) override {
    ++post_;
    if (fromChildren.size() > 1) ++badFanIn_;
    variant_bag_t bag;
    bag.put("height", fromChildren.empty() ? std::int64_t(1) : fromChildren[0].get("height")->as_i64() + 1);
    lastHeight_ = bag.get("height")->as_i64();
    return bag;
  }

  std::int64_t pre_ = 0, post_ = 0, badFanIn_ = 0, maxPreDepth_ = 0, lastHeight_ = 0;
};

class DeepChainTest : public ::testing::TestWithParam<int> {};

TEST_P(DeepChainTest, WalksAChainDeeperThanAnyNativeStack) {
  constexpr std::uint64_t kDepth = 200000;
  sptr_t<TreeDataset> ds = foundation::pool_allocate<TreeDataset>();
  for (std::uint64_t id = 1; id <= kDepth; ++id) ds->add(id, id - 1);
  auto handler = foundation::pool_allocate<DepthHandler>();
  const int mode = GetParam();
  TestProgress progress;
  bool finished = false;

  // A small stack makes any recursion per row fail for certain, not only on
  // machines with small default stacks.
  boost::thread::attributes attributes;
  attributes.set_stack_size(256 * 1024);
  boost::thread walk(attributes, [&] { finished = IDatasetHelper::create(ds)->visitRows(nullptr, handler, mode, &progress); });
  walk.join();

  EXPECT_TRUE(finished);
  EXPECT_EQ(progress.steps_, static_cast<int>(kDepth));
  if (mode & IDatasetHelper::PreVisit) {
    EXPECT_EQ(handler->pre_, static_cast<std::int64_t>(kDepth));
    EXPECT_EQ(handler->maxPreDepth_, static_cast<std::int64_t>(kDepth));
  }
  if (mode & IDatasetHelper::PostVisit) {
    EXPECT_EQ(handler->post_, static_cast<std::int64_t>(kDepth));
    EXPECT_EQ(handler->lastHeight_, static_cast<std::int64_t>(kDepth));
    EXPECT_EQ(handler->badFanIn_, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, DeepChainTest, ::testing::Values(1, 2, 3));

}  // namespace
}  // namespace data_abstractions2
