#include "discmodels2/recommendations_model/core/summary_loops_row_visitor.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "platform/portability/assert.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

using namespace test_fakes;
using data_models2::SummaryLoopsRowVisitor;
using summary_store::RecommendationsData;
using summary_store::SurveyExSummaryData;

struct Rec {
  std::string id;
  int confidence, priority = 1;
};

sptr_t<IIssueEx> issue(const std::string& id, unsigned flags, const std::vector<Rec>& recs) {
  auto made = createIssueEx(id, id + " title", id + " text", 1, flags, variant_bag_t());
  for (const Rec& r : recs) {
    made->addRecommendation(createRecommendation(r.id, r.id + " title", "text", 0, {}, r.confidence, r.priority));
  }
  return made;
}

std::vector<std::string> ids(const RecommendationsData& data) {
  std::vector<std::string> out;
  for (const auto& e : data.entries()) out.push_back(e.id);
  return out;
}

std::vector<std::int64_t> listed(const SurveyExSummaryData& summary) {
  std::vector<std::int64_t> out;
  for (const auto& loop : summary.loops()) out.push_back(loop.funcInstIdx);
  return out;
}

class SummaryLoopsTest : public ::testing::Test {
 protected:
  /// A loop row under `parent` (or a root) with a self time and a
  /// FuncInstIdx that names it in the expectations.
  sptr_t<FakeRow> loop(std::int64_t idx, const variant_t& time, IMetadata::type_t type = IMetadata::TypeLoop,
                       const sptr_t<FakeRow>& parent = nullptr) {
    auto row = makeRow(static_cast<std::uint64_t>(idx), type);
    dataset->add(row, !parent);
    if (parent) parent->addChild(row);
    if (!time.empty()) dataset->set(row, SelfTime, time);
    dataset->set(row, FuncInstIdx, variant_t(idx));
    return row;
  }

  sptr_t<SummaryLoopsRowVisitor> walk() {
    auto visitor = foundation::pool_allocate<SummaryLoopsRowVisitor>(sptr_t<IDataset>(dataset));
    auto helper = IDatasetHelper::create(dataset);
    EXPECT_TRUE(helper->visitRows(nullptr, visitor, IDatasetHelper::PreVisit, nullptr));
    return visitor;
  }

  sptr_t<FakeDataset> dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
};

TEST_F(SummaryLoopsTest, WalkCollectsUnmarkedLoopsWithASelfTimeAtAnyDepth) {
  struct Case {
    const char* what;
    IMetadata::type_t type;
    variant_t time;
    bool collected;
    double expectedTime;
  };
  const std::vector<Case> cases = {
      {"real time", IMetadata::TypeLoop, variant_t(1.5), true, 1.5},
      {"unsigned integer time", IMetadata::TypeLoop | IMetadata::TypeInnermost, variant_t(std::uint64_t{7}), true, 7.0},
      {"signed integer time", IMetadata::TypeLoop, variant_t(std::int32_t{-2}), true, -2.0},
      {"text time reads as zero", IMetadata::TypeLoop, variant_t("fast"), true, 0.0},
      {"bool time reads as zero", IMetadata::TypeLoop, variant_t(true), true, 0.0},
      {"no time", IMetadata::TypeLoop, variant_t(), false, 0.0},
      {"marked loop", IMetadata::TypeLoop | IMetadata::TypeMarked, variant_t(9.0), false, 0.0},
      {"function", 0, variant_t(9.0), false, 0.0},
      {"skipped row that is a loop", IMetadata::TypeLoop | IMetadata::TypeSkipped, variant_t(0.5), true, 0.5},
  };
  // Each case hangs under a function row, below an outer loop, so that the
  // walk has to go down to reach it.
  auto function = makeRow(1000, 0);
  dataset->add(function, true);
  auto outer = loop(999, variant_t(0.25), IMetadata::TypeLoop, function);
  std::vector<std::pair<std::int64_t, double>> expected = {{999, 0.25}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    loop(static_cast<std::int64_t>(i), cases[i].time, cases[i].type, outer);
    if (cases[i].collected) expected.emplace_back(static_cast<std::int64_t>(i), cases[i].expectedTime);
  }
  auto noMetadata = makeRow(500, IMetadata::TypeLoop, false);
  dataset->set(noMetadata, SelfTime, variant_t(4.0));
  outer->addChild(noMetadata);

  auto visitor = walk();
  std::vector<std::pair<std::int64_t, double>> got;
  for (const auto& l : visitor->loops()) got.emplace_back(static_cast<std::int64_t>(l.row->getId()), l.time);
  EXPECT_EQ(expected, got);
}

TEST_F(SummaryLoopsTest, NullDatasetOrRowCollectsNothing) {
  auto noData = foundation::pool_allocate<SummaryLoopsRowVisitor>(sptr_t<IDataset>());
  bool descend = false;
  noData->handlePreVisit(makeRow(1), variant_bag_t(), descend);
  EXPECT_TRUE(noData->loops().empty());
  auto noRow = foundation::pool_allocate<SummaryLoopsRowVisitor>(sptr_t<IDataset>(dataset));
  noRow->handlePreVisit(nullptr, variant_bag_t(), descend);
  EXPECT_TRUE(noRow->loops().empty());
}

TEST_F(SummaryLoopsTest, HottestQualifyingLoopsAreListedWithTheirConfidentRecommendations) {
  // Hottest first: 90 (only weak advice), 80 (only flag-2 issues), 70, 60
  // (nothing), 50, 40, 30, 20, 10. Places go to 70, 50, 40, 30, 20; 10
  // qualifies but comes sixth.
  auto weak = loop(90, variant_t(9.0));
  weak->addRowIssue(issue("weak", 1, {{"w1", 2}, {"w2", 1}}));
  auto diagnostics = loop(80, variant_t(8.0));
  diagnostics->addRowIssue(issue("diag", 2, {{"d1", 5}}));
  diagnostics->addRowIssue(issue("potential", 2 | 4, {{"p1", 5}}));
  auto mixed = loop(70, variant_t(7.0));
  mixed->addRowIssue(issue("diag", 2, {{"d1", 5}}));
  mixed->addRowIssue(nullptr);
  mixed->addRowIssue(issue("a", 1, {{"a1", 3, 4}, {"a2", 2}, {"a3", 9, 1}}));
  mixed->addRowIssue(issue("b", 0, {{"b1", 4, 2}}));
  loop(60, variant_t(6.0));
  for (std::int64_t idx : {50, 40, 30, 20, 10}) {
    auto row = loop(idx, variant_t(idx / 10.0));
    row->addRowIssue(issue("c", 1, {{"c" + std::to_string(idx), 3}}));
  }

  auto visitor = walk();
  auto summary = SurveyExSummaryData::create();
  visitor->getLoopsWithRecommendations(summary, 5, 3);

  EXPECT_EQ((std::vector<std::int64_t>{70, 50, 40, 30, 20}), listed(*summary));
  const auto& first = summary->loops().at(0);
  EXPECT_EQ((std::vector<std::string>{"a1", "a3", "b1"}), ids(*first.recommendations));
  EXPECT_EQ((RecommendationsData::Entry{"a1", "a1 title", 3, 4}), first.recommendations->entries().at(0));
  EXPECT_EQ((RecommendationsData::Entry{"b1", "b1 title", 4, 2}), first.recommendations->entries().at(2));
  EXPECT_EQ(7.0, first.selfTime);
}

TEST_F(SummaryLoopsTest, ThresholdAndPlacesComeFromTheCaller) {
  struct Case {
    unsigned maxLoops;
    int minConfidence;
    std::vector<std::int64_t> expected;
  };
  const Case cases[] = {{5, 3, {3, 1}}, {5, 1, {3, 2, 1}}, {1, 1, {3}}, {0, 1, {}}, {5, 10, {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.maxLoops << " loops from confidence " << c.minConfidence);
    dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
    loop(1, variant_t(1.0))->addRowIssue(issue("i", 0, {{"r", 3}}));
    loop(2, variant_t(2.0))->addRowIssue(issue("i", 0, {{"r", 1}}));
    loop(3, variant_t(3.0))->addRowIssue(issue("i", 0, {{"r", 5}}));
    auto visitor = walk();
    auto summary = SurveyExSummaryData::create();
    visitor->getLoopsWithRecommendations(summary, c.maxLoops, c.minConfidence);
    EXPECT_EQ(c.expected, listed(*summary));
  }
}

TEST_F(SummaryLoopsTest, LoopIsDescribedByItsFieldsAndTypeBits) {
  auto describe = [&](const sptr_t<FakeRow>& row, double time) {
    auto visitor = foundation::pool_allocate<SummaryLoopsRowVisitor>(sptr_t<IDataset>(dataset));
    auto summary = SurveyExSummaryData::create();
    auto data = RecommendationsData::create();
    visitor->fillData(summary, {row, time}, data);
    EXPECT_EQ(1u, summary->loops().size());
    EXPECT_EQ(data, summary->loops().at(0).recommendations);
    return summary->loops().at(0);
  };
  const std::pair<IMetadata::type_t, int> kinds[] = {
      {IMetadata::TypeLoop, SurveyExSummaryData::LoopOther},
      {IMetadata::TypeLoop | 256, SurveyExSummaryData::LoopVectorized},
      {IMetadata::TypeLoop | 4096, SurveyExSummaryData::LoopScalar},
      {IMetadata::TypeLoop | 256 | 4096, SurveyExSummaryData::LoopVectorized},
  };
  for (const auto& [type, kind] : kinds) {
    SCOPED_TRACE(type);
    auto row = loop(42, variant_t(2.5), type);
    dataset->set(row, FuncInstIdx, variant_t(std::uint64_t{1} << 40));
    dataset->set(row, Field231, variant_t("relax(Grid&)"));
    dataset->set(row, Field232, variant_t("/src/relax.cpp"));
    dataset->set(row, SourceLine, variant_t(std::int32_t{43}));
    const auto l = describe(row, 2.5);
    EXPECT_EQ(summary_store::locator_t("/src/relax.cpp", 43, 0), l.location);
    EXPECT_EQ("relax(Grid&)", l.functionName);
    EXPECT_EQ(kind, l.kind);
    EXPECT_EQ(2.5, l.selfTime);
    EXPECT_EQ(0.0, l.totalTime);
    EXPECT_EQ(std::int64_t{1} << 40, l.funcInstIdx);
  }

  // Missing or mistyped fields describe the loop as unknown.
  auto row = makeRow(7, IMetadata::TypeLoop, false);
  dataset->set(row, FuncInstIdx, variant_t(3.0));
  dataset->set(row, SourceLine, variant_t("forty"));
  dataset->set(row, Field231, variant_t(std::int64_t{5}));
  const auto l = describe(row, 1.0);
  EXPECT_EQ(summary_store::locator_t("", 0, 0), l.location);
  EXPECT_EQ("", l.functionName);
  EXPECT_EQ(SurveyExSummaryData::LoopOther, l.kind);
  EXPECT_EQ(0, l.funcInstIdx);
}

TEST_F(SummaryLoopsTest, PostVisitIsAnError) {
  unsigned fired = 0;
  auto previous = portability::set_assertion_handler([&](const portability::assertion_info_t& info) {
    ++fired;
    EXPECT_STREQ("SummaryLoopsRowVisitHandler::handlePostVisit is not implemented", info.condition);
  });
  auto visitor = foundation::pool_allocate<SummaryLoopsRowVisitor>(sptr_t<IDataset>(dataset));
  visitor->handlePostVisit(makeRow(1), {});
  portability::set_assertion_handler(previous);
  EXPECT_EQ(1u, fired);
}

}  // namespace
