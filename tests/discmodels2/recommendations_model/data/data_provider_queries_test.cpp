// The provider's questions beyond the record: rows of the other tree, the
// self-time ranking, the C library, the shadow diagnostic, the threshold.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/data_provider.h"
#include "discmodels2/recommendations_model/data/self_time_loop_pair_row_visit_handler.h"
#include "platform/configuration/session_storage.h"
#include "tests/discmodels2/recommendations_model/data/fake_result.h"

namespace {

using namespace test_fakes;
using data_models2::DataProvider;
using data_models2::GlibcVer;

std::vector<row_t> collect(generic_iterator_t<row_t> it) {
  std::vector<row_t> rows;
  for (; !it.at_end(); it.next()) rows.push_back(it.current());
  return rows;
}

TEST(DataProviderQueriesTest, RowsOfTheOtherTreeByFunctionInstance) {
  FakeResult result;
  auto loop = result.addRow(1);
  result.bottomUp->set(loop, FuncInstIdx, variant_t(std::uint64_t{7}));
  auto c1 = result.addCall(10, 7);
  auto c2 = result.addCall(11, 7);
  result.addCall(12, 8);
  auto provider = result.provider();

  EXPECT_EQ(collect(provider->getRowsFrom(CallTree, loop)), (std::vector<row_t>{c1, c2}));
  EXPECT_EQ(collect(provider->getRowsFrom(BottomUp, c2)), (std::vector<row_t>{loop}));
  EXPECT_TRUE(collect(provider->getRowsFrom(CallTree, nullptr)).empty());

  DataProvider empty(nullptr, nullptr, nullptr);
  EXPECT_TRUE(collect(empty.getRowsFrom(CallTree, loop)).empty());
}

TEST(DataProviderQueriesTest, BottomUpChildrenAreTheCalleesOfEveryCallSite) {
  FakeResult result;
  auto caller = result.addRow(1, 0);
  result.bottomUp->set(caller, FuncInstIdx, variant_t(std::uint64_t{7}));
  auto f9 = result.addRow(2, 0);
  result.bottomUp->set(f9, FuncInstIdx, variant_t(std::uint64_t{9}));
  auto f10a = result.addRow(3, 0);
  auto f10b = result.addRow(4, 0);
  result.bottomUp->set(f10a, FuncInstIdx, variant_t(std::uint64_t{10}));
  result.bottomUp->set(f10b, FuncInstIdx, variant_t(std::uint64_t{10}));

  // Two call sites of the caller; the second calls f9 again, which stays.
  auto site1 = result.addCall(20, 7);
  auto site2 = result.addCall(21, 7);
  for (auto [site, idx, id] : {std::tuple{site1, 9, 30}, std::tuple{site1, 10, 31}, std::tuple{site2, 9, 32}}) {
    auto callee = makeRow(id, 0);
    result.callTree->set(callee, FuncInstIdx, variant_t(std::int64_t{idx}));
    result.callTree->add(callee);
    site->addChild(callee);
  }

  auto provider = result.provider();
  EXPECT_EQ(collect(provider->getBottomUpChildren(caller)), (std::vector<row_t>{f9, f10a, f10b, f9}));
  EXPECT_TRUE(collect(provider->getBottomUpChildren(f9)).empty());
}

TEST(DataProviderQueriesTest, RankInsidePercentRange) {
  struct Case {
    const char* name;
    double from, to;
    int loopIndex;  // 0 coldest .. 4 hottest
    bool expected;
  };
  // Five loops: one step is 20 percent, so narrower ranges widen to whole steps.
  const Case cases[] = {
      {"hottest in top 10 percent", 0.0, 10.0, 4, true},
      {"second not in top 10 percent", 0.0, 10.0, 3, false},
      {"reversed bounds", 10.0, 0.0, 4, true},
      {"second in top 40 percent", 0.0, 40.0, 3, true},
      {"coldest in 80 to 100", 80.0, 100.0, 0, true},
      {"hottest not in 80 to 100", 80.0, 100.0, 4, false},
  };
  FakeResult result;
  std::vector<sptr_t<FakeRow>> loops;
  for (int i = 1; i <= 5; ++i) {
    loops.push_back(result.addRow(i));
    result.bottomUp->set(loops.back(), SelfTime, variant_t(static_cast<double>(i)));
  }
  // Hotter than all, but no loop, marked, or without a time: not ranked.
  auto marked = result.addRow(6, IMetadata::TypeLoop | IMetadata::TypeMarked);
  result.bottomUp->set(marked, SelfTime, variant_t(100.0));
  auto function = result.addRow(7, 0);
  result.bottomUp->set(function, SelfTime, variant_t(50.0));
  auto noTime = result.addRow(9);
  auto provider = result.provider();
  const auto& list = provider->getLoopsBySelfTime();
  ASSERT_EQ(list.size(), 5u);
  EXPECT_EQ(list.front().second, row_t(loops[0]));
  EXPECT_EQ(list.back().second, row_t(loops[4]));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(provider->isLoopInsideRange(loops[c.loopIndex], c.from, c.to), c.expected);
  }
  EXPECT_FALSE(provider->isLoopInsideRange(noTime, 0.0, 100.0));

  DataProvider empty(nullptr, nullptr, nullptr);
  EXPECT_FALSE(empty.isLoopInsideRange(loops[4], 0.0, 100.0));
}

TEST(SelfTimeLoopPairRowVisitHandlerTest, EqualTimesShareTheRankOfTheFirst) {
  using Handler = data_models2::SelfTimeLoopPairRowVisitHandler;
  const Handler::LoopList list = {{1.0, nullptr}, {2.0, nullptr}, {2.0, nullptr}, {3.0, nullptr}};
  EXPECT_EQ(Handler::getLowerBound(list, 3.0), 1u);
  EXPECT_EQ(Handler::getLowerBound(list, 2.0), 3u);
  EXPECT_EQ(Handler::getLowerBound(list, 0.5), 4u);
  EXPECT_EQ(Handler::getLowerBound(list, 9.0), 0u);
}

TEST(DataProviderQueriesTest, GlibcVersionsFromLibraryLeafNames) {
  using Files = std::vector<FileLocator>;
  struct Case {
    const char* name;
    std::optional<Files> locators;
    std::set<GlibcVer> expected;
  };
  const Case cases[] = {
      {"versioned libc", Files{{"/lib/x86_64/libc-2.31.so"}}, {{2, 31}}},
      {"several, deduplicated and ordered", Files{{"/a/libc-2.35.so"}, {"/b/libc-2.17.so"}, {"/c/libc-2.35.so"}},
       {{2, 17}, {2, 35}}},
      {"not a C library", Files{{"/lib/libm-2.31.so"}}, {}},
      {"no dotted number in the leaf", Files{{"/lib/libc.so.6"}}, {}},
      {"first number not followed by a dotted one", Files{{"/lib/libc-2.so.31"}}, {}},
      {"trailing text after the minor", Files{{"/lib/libc-2.28-r1.so"}}, {{2, 28}}},
      {"libc only in the folder name", Files{{"/opt/libc-2.40/ld-2.39.so"}}, {{2, 39}}},
      {"no locators", std::nullopt, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    result.model->locators = c.locators;
    auto provider = result.provider();
    EXPECT_EQ(provider->getGlibcVersions(), c.expected);
    // Read once per provider.
    result.model->locators = Files{{"/lib/libc-9.9.so"}};
    EXPECT_EQ(provider->getGlibcVersions(), c.expected);
  }
}

TEST(DataProviderQueriesTest, ShadowDiagnosticTakesTheFirstDecisiveAnswer) {
  // The diagnoses of the call-tree rows in index order, and the answer:
  // decisive after mild, mild only, the first decisive ends the walk, none.
  const std::pair<std::vector<int>, int> cases[] = {{{1, 0, 3}, 3}, {{1, 0}, 1}, {{2, 3}, 2}, {{0, 0}, 0}};
  for (const auto& [diagnoses, expected] : cases) {
    SCOPED_TRACE(testing::PrintToString(diagnoses));
    FakeResult result;
    auto loop = result.addRow(1);
    result.bottomUp->set(loop, FuncInstIdx, variant_t(std::uint64_t{7}));
    auto model = foundation::pool_allocate<FakeThrottlingModel>();
    for (std::size_t i = 0; i < diagnoses.size(); ++i) model->byRow[result.addCall(10 + i, 7).get()] = diagnoses[i];
    result.model->throttling = model;
    EXPECT_EQ(result.provider()->getAVX512ShadowDiagnostic(loop), expected);
  }
  FakeResult noModel;
  EXPECT_EQ(noModel.provider()->getAVX512ShadowDiagnostic(noModel.addRow(1)), 0);
}

TEST(DataProviderQueriesTest, ThresholdAgainstElapsedTimeOfTheResult) {
  TempDir dir;
  FakeResult result;
  result.controller->resultDir = dir.path.string();
  auto storage = configuration::ISessionStorage::create(dir.path.string());
  ASSERT_TRUE(storage);
  ASSERT_TRUE(storage->set("totalElapsedTime", variant_t(10.0)));
  ASSERT_TRUE(storage->save());

  auto loop = result.addRow(1);
  result.bottomUp->set(loop, SelfTime, variant_t(1.5));
  result.bottomUp->set(loop, TotalTime, variant_t(3.0));
  auto noTotal = result.addRow(2);
  result.bottomUp->set(noTotal, SelfTime, variant_t(9.0));
  auto provider = result.provider();

  EXPECT_TRUE(provider->isLoopMatchThreshold(loop, 10.0));   // self time above 1.0
  EXPECT_TRUE(provider->isLoopMatchThreshold(loop, 20.0));   // total time above 2.0
  EXPECT_FALSE(provider->isLoopMatchThreshold(loop, 30.0));  // 3.0 is not above 3.0
  EXPECT_FALSE(provider->isLoopMatchThreshold(noTotal, 1.0));
  // The elapsed time is read once per provider: a scan doesn't reopen the
  // session file for every row.
  std::filesystem::remove(dir.path / configuration::ISessionStorage::file_name);
  EXPECT_TRUE(provider->isLoopMatchThreshold(loop, 10.0));

  TempDir emptyDir;
  result.controller->resultDir = emptyDir.path.string();
  EXPECT_FALSE(result.provider()->isLoopMatchThreshold(loop, 1.0));
}

// The roofs come from the view model, classified once per provider; without
// a view model there are none.
TEST(DataProviderQueriesTest, RoofsForwardToTheViewModel) {
  FakeResult result;
  auto provider = result.provider();
  const auto roofs = provider->getRoofs();
  ASSERT_TRUE(roofs);
  EXPECT_EQ(provider->getRoofs(0, 0, 0, 0), roofs);
  EXPECT_FALSE(std::make_shared<DataProvider>(nullptr, result.controller, nullptr)->getRoofs());
}

}  // namespace
