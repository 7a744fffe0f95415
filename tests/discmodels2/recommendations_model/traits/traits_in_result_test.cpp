// Traits on a small loaded result: the scan's trait list in its order, with
// lifting to the function, and the two call traits that the scan leaves
// out, on real call trees and machine code.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "discmodels2/recommendations_model/traits/trait_indirect_calls.h"
#include "discmodels2/recommendations_model/traits/trait_system_calls.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"
#include "platform/host_data/session_seed.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

namespace da = data_abstractions2;
using data_models2::issues::TraitDetector;

// A function with four loop nests, run on a machine of the common AVX-512
// level for 5 s:
//   2  vectorized AVX2 loop with masked stores, horizontal operations and
//      divisions, its vector length set in the source; it calls write and
//      calls through memory;
//   3  hot scalar loop of 3 iterations entered 10^9 times;
//   4  split loop whose vector body (5) runs 2 iterations, remainder (6) 3;
//   7  an outer loop whose inner loop (8) calls through memory.
const char* const kResult = R"({
  "format": "nimbex-result", "version": 1,
  "machine": { "isaExtensions": 11, "cpuType": 10, "maxVectorLength": 512 },
  "collected": ["survey", "tripCounts"],
  "session": { "totalElapsedTime": 5.0 },
  "bottomUp": { "rows": [
    { "id": 1, "type": 0, "children": [2, 3, 4, 7],
      "fields": { "FunctionName": "kernels", "SelfTime": 0.0, "TotalTime": 4.5, "FuncInstIdx": 1 } },
    { "id": 2, "type": ["loop", "innermost"],
      "fields": { "SelfTime": 1.0, "TotalTime": 1.0, "FuncInstIdx": 2, "IsVectorized": true, "Isa": "AVX2",
                  "InstructionSets": "AVX2; Masked Stores; Horizontal Operations; Divisions",
                  "LoopFlags55": { "i32": 4 }, "MainVectType": { "i32": 5 }, "VectorLengths": "4" } },
    { "id": 3, "type": ["loop", "innermost"],
      "fields": { "SelfTime": 2.0, "TotalTime": 2.0, "FuncInstIdx": 3, "IsVectorized": false },
      "sourceTripCounts": { "TripCountAverage": { "value": 3 }, "CallCount": { "value": 1000000000 } } },
    { "id": 4, "type": ["loop", "innermost", "split"], "children": [5, 6],
      "fields": { "SelfTime": 1.0, "TotalTime": 1.0, "FuncInstIdx": 4, "IsVectorized": true, "Isa": "AVX2" } },
    { "id": 5, "type": ["loop", "innermost", "vectorBody"],
      "fields": { "SelfTime": 0.9, "TotalTime": 0.9, "FuncInstIdx": 4, "IsVectorized": true, "Isa": "AVX2",
                  "VectorLengths": "4" },
      "sourceTripCounts": { "TripCountAverage": { "value": 2 } } },
    { "id": 6, "type": ["loop", "innermost", "remainder"],
      "fields": { "SelfTime": 0.1, "TotalTime": 0.1, "FuncInstIdx": 4, "IsVectorized": false },
      "sourceTripCounts": { "TripCountAverage": { "value": 3 } } },
    { "id": 7, "type": ["loop"], "children": [8], "fields": { "FuncInstIdx": 7 } },
    { "id": 8, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 8 } } ] },
  "callTree": { "rows": [
    { "id": 100, "children": [101],
      "fields": { "FunctionName": "main", "FuncInstIdx": 9, "Field24": 0, "IsSystemFunction": 0 } },
    { "id": 101, "children": [102, 103, 104, 107],
      "fields": { "FunctionName": "kernels", "FuncInstIdx": 1, "Field24": 0, "IsSystemFunction": 0 } },
    { "id": 102, "type": ["loop", "innermost"], "children": [110],
      "fields": { "FuncInstIdx": 2, "InnerLoopCount": { "u64": 0 } },
      "machineCode": { "address": "0x1000", "bytes": "ff 10" } },
    { "id": 110, "fields": { "FunctionName": "write", "ModuleName": "libc.so.6", "FuncInstIdx": 10,
                             "Field24": 0, "IsSystemFunction": 1 } },
    { "id": 103, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 3, "InnerLoopCount": { "u64": 0 } } },
    { "id": 104, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 4, "InnerLoopCount": { "u64": 0 } } },
    { "id": 107, "type": ["loop"], "children": [108], "fields": { "FuncInstIdx": 7, "InnerLoopCount": { "u64": 1 } } },
    { "id": 108, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 8, "InnerLoopCount": { "u64": 0 } },
      "machineCode": { "address": "0x2000", "bytes": "ff 10" } } ] }
})";

/// The result loaded as if from a fresh directory, with its session values
/// where the library reads them.
class LoadedResult : public testing::Test {
 protected:
  void SetUp() override {
    loaded = std::make_unique<host_data::LoadResult>(host_data::loadResultText(kResult, dir.str()));
    ASSERT_TRUE(loaded->ok()) << loaded->error();
    std::string error;
    ASSERT_TRUE(host_data::seedSessionStorage(loaded->models(), error)) << error;
    sources = foundation::pool_allocate<host_data::HostSourceManager, da::ISourceManager>(64);
  }

  da::sptr_t<da::IDataset> bottomUp() const { return loaded->models().surveyModel->getDataset(da::BottomUp); }
  da::row_t row(std::uint64_t id) const { return bottomUp()->getRow(id); }

  test_fakes::TempDir dir;
  std::unique_ptr<host_data::LoadResult> loaded;
  da::sptr_t<da::ISourceManager> sources;
};

std::vector<int> traitIds(const da::row_t& row) {
  std::vector<int> ids;
  for (auto it = row->rowTraits(); !it.at_end(); it.next()) ids.push_back(it.current()->getTraitId());
  return ids;
}

TEST_F(LoadedResult, ScanPutsTraitsOnLoopsAndLiftsThemToTheFunction) {
  auto scan = foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler>(
      loaded->models().surveyModel, loaded->models().resultController, sources);
  auto walker = da::IDatasetHelper::create(bottomUp());
  ASSERT_TRUE(walker);
  ASSERT_TRUE(walker->visitRows(nullptr, scan, da::IDatasetHelper::PostVisit, nullptr));

  // Loop 2 calls a system function and through memory, and still gets no
  // trait 13 or 14: the scan doesn't run those detectors.
  const std::map<std::uint64_t, std::vector<int>> expected = {
      {1, {1, 2, 4, 5, 6, 7, 8, 9, 10, 12}}, {2, {1, 2, 10, 12}}, {3, {4, 5, 6, 7}}, {4, {8, 9}},
      {5, {}}, {6, {}}, {7, {}}, {8, {}}};
  for (const auto& [id, ids] : expected) EXPECT_EQ(traitIds(row(id)), ids) << "row " << id;

  // Columns travel with the traits.
  std::map<int, int> columns;
  for (auto it = row(1)->rowTraits(); !it.at_end(); it.next()) {
    columns[it.current()->getTraitId()] = it.current()->getFieldId();
  }
  EXPECT_EQ(columns, (std::map<int, int>{{1, 44}, {2, 44}, {4, 142}, {5, 135}, {6, 140}, {7, 142},
                                          {8, 142}, {9, 135}, {10, 44}, {12, 35}}));
}

TEST_F(LoadedResult, CallTraitsLookAtTheLoopsOwnCalls) {
  auto provider = std::make_shared<data_models2::DataProvider>(loaded->models().surveyModel,
                                                               loaded->models().resultController, sources);
  const data_models2::issues::TraitSystemCalls systemCalls(provider);
  const data_models2::issues::TraitIndirectCalls indirectCalls(provider);
  auto detect = [](const TraitDetector& detector, const da::row_t& row) {
    auto out = std::make_shared<std::vector<da::sptr_t<da::ITrait>>>();
    const bool any = detector.detect(row, out);
    std::vector<std::pair<int, int>> made;
    for (const auto& t : *out) made.emplace_back(t->getTraitId(), t->getFieldId());
    EXPECT_EQ(any, !made.empty());
    return made;
  };

  struct Case {
    std::uint64_t row;
    std::vector<std::pair<int, int>> system, indirect;
  };
  // The outer loop 7 doesn't see the call of its inner loop 8.
  const Case cases[] = {{2, {{13, 0}}, {{14, 0}}}, {3, {}, {}}, {7, {}, {}}, {8, {}, {{14, 0}}}};
  for (const Case& c : cases) {
    provider->fillCommonData(row(c.row));
    EXPECT_EQ(detect(systemCalls, row(c.row)), c.system) << "row " << c.row;
    EXPECT_EQ(detect(indirectCalls, row(c.row)), c.indirect) << "row " << c.row;
  }
}

}  // namespace
