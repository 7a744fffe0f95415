#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/core/get_children.h"
#include "platform/foundation/statistic.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

using namespace test_fakes;
using data_models2::CommonData;
using data_models2::IDataProvider;
using data_models2::ScanIssuesRowVisitHandler;

// A provider whose fill answers as told per row; everything else is inert.
class FakeProvider : public test_fakes::StubProvider {
 public:
  bool fillCommonData(const row_t& row) const override { return !failing.count(row.get()); }
  std::set<const void*> failing;
};

// Opens the test constructor of the driver.
class TestableScan : public ScanIssuesRowVisitHandler {
 public:
  TestableScan(std::shared_ptr<IDataProvider> p, IssueDetectors loop, IssueDetectors other, TraitDetectors traits)
      : ScanIssuesRowVisitHandler(std::move(p), std::move(loop), std::move(other), std::move(traits)) {}
};

sptr_t<IIssueEx> issue(const std::string& id, float impact = 0.0f, std::vector<std::string> recommendations = {}) {
  auto made = createIssueEx(id, id + " title", id + " text", 1, 1, variant_bag_t());
  if (impact != 0.0f) made->setValue(IRecommendationBase::impactId(), impact);
  for (const auto& rec : recommendations) made->addRecommendation(createRecommendationWithConfidence(rec, "t", "x", 1, 8));
  return made;
}

sptr_t<ITrait> trait(ITrait::Id id) { return createTraitRecord(id, "trait", FieldNone); }

std::vector<std::string> issueIds(const FakeRow& row) {
  std::vector<std::string> ids;
  for (const auto& i : row.issues) ids.push_back(i->getStringId());
  return ids;
}

std::vector<ITrait::Id> traitIds(const FakeRow& row) {
  std::vector<ITrait::Id> ids;
  for (const auto& t : row.traits) ids.push_back(t->getTraitId());
  return ids;
}

std::map<std::string, std::uint64_t> statistics() { return foundation::statistic_t::get().snapshot(); }

struct ScanSetup {
  std::shared_ptr<FakeProvider> provider = std::make_shared<FakeProvider>();
  std::shared_ptr<ScriptedIssueDetector> loop1 = std::make_shared<ScriptedIssueDetector>();
  std::shared_ptr<ScriptedIssueDetector> loop2 = std::make_shared<ScriptedIssueDetector>();
  std::shared_ptr<ScriptedIssueDetector> other = std::make_shared<ScriptedIssueDetector>();
  std::shared_ptr<ScriptedTraitDetector> traits = std::make_shared<ScriptedTraitDetector>();

  sptr_t<TestableScan> make() const {
    // A null entry in a list is skipped, not called.
    return foundation::pool_allocate<TestableScan>(
        provider, ScanIssuesRowVisitHandler::IssueDetectors{loop1, nullptr, loop2},
        ScanIssuesRowVisitHandler::IssueDetectors{other}, ScanIssuesRowVisitHandler::TraitDetectors{traits});
  }
};

TEST(ScanGetIssuesTest, DetectorsByRowKindSortedStably) {
  auto a1 = issue("a");
  auto a2 = issue("a");  // compares equal to a1: detector order decides
  auto b = issue("b");
  auto heavy = issue("z", 5.0f);
  struct Case {
    const char* name;
    IMetadata::type_t type;
    std::vector<sptr_t<IIssueEx>> fromLoop1, fromLoop2, fromOther;
    std::vector<sptr_t<IIssueEx>> expected;
  };
  const Case cases[] = {
      {"loop row: sorted by id", IMetadata::TypeLoop, {b}, {a1}, {heavy}, {a1, b}},
      {"equal issues keep detector order", IMetadata::TypeLoop, {a2, b}, {a1}, {}, {a2, a1, b}},
      {"impact first", IMetadata::TypeLoop, {a1}, {heavy}, {}, {heavy, a1}},
      {"function row uses the other list", 0, {a1}, {}, {b}, {b}},
      {"nothing found", IMetadata::TypeLoop, {}, {}, {b}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScanSetup setup;
    auto row = makeRow(1, c.type);
    setup.loop1->byRow[row.get()] = c.fromLoop1;
    setup.loop2->byRow[row.get()] = c.fromLoop2;
    setup.other->byRow[row.get()] = c.fromOther;
    generic_iterator_t<sptr_t<IIssueEx>> result;
    EXPECT_EQ(setup.make()->getIssues(row, result), !c.expected.empty());
    std::vector<sptr_t<IIssueEx>> got;
    for (; !result.at_end(); result.next()) got.push_back(result.current());
    EXPECT_EQ(got, c.expected);
  }
}

TEST(ScanGetIssuesTest, MarkedRowFlagsIssuesAndRecommendations) {
  for (bool marked : {true, false}) {
    SCOPED_TRACE(marked);
    ScanSetup setup;
    auto row = makeRow(1, IMetadata::TypeLoop | (marked ? IMetadata::type_t{IMetadata::TypeMarked} : 0));
    auto found = issue("a", 0.0f, {"r1", "r2"});
    setup.loop1->byRow[row.get()] = {found};
    generic_iterator_t<sptr_t<IIssueEx>> result;
    ASSERT_TRUE(setup.make()->getIssues(row, result));
    EXPECT_EQ(found->hasFlags(32), marked);
    for (auto recs = found->getRecommendations(); !recs.at_end(); recs.next()) {
      EXPECT_EQ(recs.current()->hasFlags(32), marked);
    }
  }
}

TEST(ScanGetIssuesTest, RowWithoutMetadataRunsNoDetector) {
  ScanSetup setup;
  auto row = makeRow(1, 0, false);
  generic_iterator_t<sptr_t<IIssueEx>> result;
  EXPECT_FALSE(setup.make()->getIssues(row, result));
  EXPECT_FALSE(setup.make()->getIssues(nullptr, result));
  EXPECT_EQ(setup.loop1->calls + setup.other->calls, 0);
}

TEST(ScanGetTraitsTest, NothingFoundLeavesResultAlone) {
  ScanSetup setup;
  auto row = makeRow(1);
  auto previous = std::make_shared<std::vector<sptr_t<ITrait>>>(1, trait(ITrait::Horizontal));
  generic_iterator_t<sptr_t<ITrait>> result(previous);
  EXPECT_FALSE(setup.make()->getTraits(row, result));
  ASSERT_FALSE(result.at_end());
  EXPECT_EQ(result.current()->getTraitId(), ITrait::Horizontal);

  setup.traits->byRow[row.get()] = {trait(ITrait::MaskedStores)};
  EXPECT_TRUE(setup.make()->getTraits(row, result));
  EXPECT_EQ(result.current()->getTraitId(), ITrait::MaskedStores);
}

TEST(ScanPostVisitTest, OwnFindingsReplaceEarlierOnesOnlyWhenSomethingIsFound) {
  ScanSetup setup;
  auto found = makeRow(1);
  auto quiet = makeRow(2);
  auto unreadable = makeRow(3);
  for (auto& row : {found, quiet, unreadable}) {
    row->issues = {issue("old")};
    row->traits = {trait(ITrait::Horizontal)};
  }
  setup.loop1->byRow[found.get()] = {issue("new")};
  setup.loop1->byRow[unreadable.get()] = {issue("new")};
  setup.traits->byRow[found.get()] = {trait(ITrait::Reciprocals)};
  setup.provider->failing.insert(unreadable.get());
  auto scan = setup.make();

  for (auto& row : {found, quiet, unreadable}) scan->handlePostVisit(row, {});

  EXPECT_EQ(issueIds(*found), std::vector<std::string>{"new"});
  EXPECT_EQ(traitIds(*found), std::vector<ITrait::Id>{ITrait::Reciprocals});
  EXPECT_EQ(issueIds(*quiet), std::vector<std::string>{"old"});
  EXPECT_EQ(traitIds(*quiet), std::vector<ITrait::Id>{ITrait::Horizontal});
  // A row the provider can't read is not scanned at all.
  EXPECT_EQ(issueIds(*unreadable), std::vector<std::string>{"old"});
  EXPECT_EQ(setup.loop1->calls, 2);
}

TEST(ScanPostVisitTest, LiftsChildFindingsOwnAndFirstChildWin) {
  ScanSetup setup;
  auto parent = makeRow(1, 0);
  auto child1 = makeRow(2);
  auto child2 = makeRow(3);
  parent->addChild(child1);
  parent->addChild(child2);

  auto parentOwn = issue("shared");
  auto fromChild1 = issue("shared");
  auto firstC = issue("c");
  auto secondC = issue("c");
  parent->issues = {parentOwn};
  child1->issues = {fromChild1, firstC};
  child2->issues = {secondC, issue("a")};
  parent->traits = {trait(ITrait::Reciprocals)};
  child1->traits = {trait(ITrait::OverriddenVL)};
  child2->traits = {trait(ITrait::MaskedStores)};

  setup.make()->handlePostVisit(parent, {});

  EXPECT_EQ(issueIds(*parent), (std::vector<std::string>{"a", "c", "shared"}));
  EXPECT_EQ(parent->issues[1], firstC);
  EXPECT_EQ(parent->issues[2], parentOwn);
  EXPECT_EQ(traitIds(*parent),
            (std::vector<ITrait::Id>{ITrait::MaskedStores, ITrait::Reciprocals, ITrait::OverriddenVL}));
}

// A row that counts the writes made to its lists while another thread could
// take its lock, that is, while the writer did not hold it.
class LockCheckingRow : public FakeRow {
 public:
  LockCheckingRow() : FakeRow(9, IMetadata::TypeLoop, true) {}
  void addRowIssue(const sptr_t<IIssueEx>& issue) override { check(); FakeRow::addRowIssue(issue); }
  void clearRowIssues() override { check(); FakeRow::clearRowIssues(); }
  void addRowTrait(const sptr_t<ITrait>& trait) override { check(); FakeRow::addRowTrait(trait); }
  void clearRowTraits() override { check(); FakeRow::clearRowTraits(); }
  int unlockedWrites = 0;

 private:
  void check() {
    bool free = false;
    std::thread([&] {
      free = mutex.try_lock();
      if (free) mutex.unlock();
    }).join();
    if (free) ++unlockedWrites;
  }
};

TEST(ScanPostVisitTest, EveryWriteToARowHoldsItsLock) {
  ScanSetup setup;
  auto row = foundation::pool_allocate<LockCheckingRow>();
  auto child = makeRow(2);
  row->addChild(child);
  child->issues = {issue("lifted")};
  child->traits = {trait(ITrait::MaskedStores)};
  setup.loop1->byRow[row.get()] = {issue("own")};
  setup.traits->byRow[row.get()] = {trait(ITrait::Horizontal)};

  setup.make()->handlePostVisit(row, {});

  EXPECT_EQ(issueIds(*row), (std::vector<std::string>{"lifted", "own"}));
  EXPECT_EQ(row->unlockedWrites, 0);
}

TEST(ScanPostVisitTest, NothingLiftedLeavesStoredOrder) {
  struct Case {
    const char* name;
    std::vector<std::string> childIssues;
    std::vector<ITrait::Id> childTraits;
    std::vector<std::string> expectedIssues;
    std::vector<ITrait::Id> expectedTraits;
  };
  // The parent holds issues "b", "a" and traits 12, 1, out of order on purpose.
  const Case cases[] = {
      {"child adds nothing new", {"a"}, {ITrait::OverriddenVL}, {"b", "a"}, {ITrait::OverriddenVL, ITrait::MaskedStores}},
      {"trait added: issues untouched", {"b"}, {ITrait::Horizontal},
       {"b", "a"}, {ITrait::MaskedStores, ITrait::Horizontal, ITrait::OverriddenVL}},
      {"issue added: issues re-sorted", {"c"}, {}, {"a", "b", "c"}, {ITrait::OverriddenVL, ITrait::MaskedStores}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScanSetup setup;
    auto parent = makeRow(1, 0);
    auto child = makeRow(2);
    parent->addChild(child);
    parent->issues = {issue("b"), issue("a")};
    parent->traits = {trait(ITrait::OverriddenVL), trait(ITrait::MaskedStores)};
    for (const auto& id : c.childIssues) child->issues.push_back(issue(id));
    for (auto id : c.childTraits) child->traits.push_back(trait(id));

    setup.make()->handlePostVisit(parent, {});
    EXPECT_EQ(issueIds(*parent), c.expectedIssues);
    EXPECT_EQ(traitIds(*parent), c.expectedTraits);
  }
}

TEST(ScanPostVisitTest, CountsRowsAndRecordsMadeOnEachRow) {
  foundation::statistic_t::get().clear();
  ScanSetup setup;
  auto function = makeRow(1, 0);
  auto outer = makeRow(2, IMetadata::TypeLoop);
  auto inner = makeRow(3, IMetadata::TypeLoop | IMetadata::TypeInnermost);
  auto inner2 = makeRow(4, IMetadata::TypeLoop | IMetadata::TypeInnermost);
  function->addChild(outer);
  outer->addChild(inner);
  outer->addChild(inner2);
  setup.loop1->byRow[inner.get()] = {issue("gather", 0.0f, {"rec_a", "rec_b"})};
  setup.loop1->byRow[inner2.get()] = {issue("gather", 0.0f, {"rec_a"})};
  setup.loop2->byRow[outer.get()] = {issue("fma")};
  // A skipped loop is left alone, lifts nothing and counts for nothing, as
  // does a row without metadata.
  auto skipped = makeRow(5, IMetadata::TypeLoop | IMetadata::TypeSkipped);
  auto child = makeRow(6);
  skipped->addChild(child);
  skipped->issues = {issue("old")};
  child->issues = {issue("child")};
  setup.loop1->byRow[skipped.get()] = {issue("new")};
  auto noMetadata = makeRow(7, 0, false);

  auto scan = setup.make();
  for (auto& row : {inner, inner2, outer, function, skipped, noMetadata}) scan->handlePostVisit(row, {});
  scan->writeStatCounters();

  // Lifted copies reach the function row but are counted where they were made.
  EXPECT_EQ(issueIds(*function), (std::vector<std::string>{"fma", "gather"}));
  EXPECT_EQ(issueIds(*skipped), std::vector<std::string>{"old"});
  EXPECT_EQ(setup.loop1->calls, 3);
  const std::map<std::string, std::uint64_t> expected = {
      {"dm.survey.loops.outer", 2},      {"dm.survey.loops.innermost", 2}, {"dm.survey.issues.gather", 2},
      {"dm.survey.issues.rec_a", 2},     {"dm.survey.issues.rec_b", 1},    {"dm.survey.issues.fma", 1},
  };
  EXPECT_EQ(statistics(), expected);
}

TEST(ScanIssuesRowVisitHandlerTest, ProductionDriverRunsWithoutModels) {
  auto scan = foundation::pool_allocate<ScanIssuesRowVisitHandler>(nullptr, nullptr, nullptr);
  auto parent = makeRow(1, 0);
  auto child = makeRow(2);
  parent->addChild(child);
  child->issues = {issue("a")};
  bool descend = true;
  EXPECT_TRUE(scan->handlePreVisit(parent, {}, descend).empty());
  EXPECT_TRUE(descend);
  scan->handlePostVisit(child, {});
  scan->handlePostVisit(parent, {});
  EXPECT_EQ(issueIds(*parent), std::vector<std::string>{"a"});
}

TEST(GetChildrenTest, EmptyForNullOrUnavailableChildren) {
  auto row = makeRow(1);
  auto child = makeRow(2);
  row->addChild(child);
  auto children = data_models2::issues::getChildren(row);
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(children.current(), row_t(child));
  EXPECT_TRUE(data_models2::issues::getChildren(nullptr).at_end());
  row->childrenUnavailable = true;
  EXPECT_TRUE(data_models2::issues::getChildren(row).at_end());
}

}  // namespace
