// The walk over what a loop calls skips subtrees in which nothing would be
// classified. Skipping must never change the facts: each case compares the
// provider's walk with a full walk of the same rows.

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/data/calls_below_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "platform/host_data/result_loader.h"

namespace {

namespace da = data_abstractions2;
using data_models2::CallsBelowRowVisitHandler;
using data_models2::PresenceRowVisitHandler;

// A function around a nest of three loops (FuncInstIdx 1, 2, 3, call-tree
// rows 101, 102, 103) and, below the innermost, the row `callee` (id 104)
// when it isn't empty.
std::string nest(const std::string& callee) {
  std::string text = R"({
  "format": "nimbex-result", "version": 1,
  "bottomUp": { "rows": [
    { "id": 1, "type": ["loop"], "children": [2], "fields": { "FuncInstIdx": 1 } },
    { "id": 2, "type": ["loop"], "children": [3], "fields": { "FuncInstIdx": 2 } },
    { "id": 3, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 3 } } ] },
  "callTree": { "rows": [
    { "id": 100, "children": [101],
      "fields": { "FunctionName": "main", "Field24": 0, "IsSystemFunction": 0, "FuncInstIdx": 9 } },
    { "id": 101, "type": ["loop"], "children": [102], "fields": { "FuncInstIdx": 1 } },
    { "id": 102, "type": ["loop"], "children": [103], "fields": { "FuncInstIdx": 2 } },)";
  if (callee.empty()) return text + R"(
    { "id": 103, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 3 } } ] } })";
  return text + R"(
    { "id": 103, "type": ["loop", "innermost"], "children": [104], "fields": { "FuncInstIdx": 3 } },
    { "id": 104, "fields": )" + callee + R"( } ] } })";
}

bool sameFacts(const PresenceRowVisitHandler::Facts& a, const PresenceRowVisitHandler::Facts& b) {
  return a.hasSystemFunction == b.hasSystemFunction && a.hasDirectSystemFunction == b.hasDirectSystemFunction &&
         a.hasUserFunction == b.hasUserFunction && a.hasScalarMath == b.hasScalarMath &&
         a.threadingFlags == b.threadingFlags && a.hasVectorMath == b.hasVectorMath && a.hasLibmvec == b.hasLibmvec &&
         a.hasVectorFunction == b.hasVectorFunction && a.hasCppNames == b.hasCppNames && a.userNames == b.userNames;
}

struct CalleeCase {
  const char* name;
  const char* fields;   // of the row below the innermost loop; "" for none
  bool classified;      // the walk must reach it
};

class SkippedSubtrees : public testing::TestWithParam<CalleeCase> {};

TEST_P(SkippedSubtrees, FactsAreThoseOfAFullWalk) {
  const CalleeCase& c = GetParam();
  host_data::LoadResult loaded = host_data::loadResultText(nest(c.fields), "/tmp/calls-below");
  ASSERT_TRUE(loaded) << loaded.error();
  const auto& model = loaded.models().surveyModel;
  da::sptr_t<da::IDataset> callTree = model->getDataset(da::CallTree);
  da::sptr_t<da::IDataset> bottomUp = model->getDataset(da::BottomUp);

  CallsBelowRowVisitHandler::RowSet rows;
  auto index = foundation::pool_allocate<CallsBelowRowVisitHandler>(callTree, &rows);
  ASSERT_TRUE(da::IDatasetHelper::create(callTree)->visitRows(nullptr, index, da::IDatasetHelper::PostVisit, nullptr));
  // The callee's ancestors lead to it; nothing leads anywhere without it.
  EXPECT_EQ(rows.size(), c.classified ? 4u : 0u);
  for (std::uint64_t id : {100, 101, 102, 103}) {
    EXPECT_EQ(rows.count(callTree->getRow(id).get()), c.classified ? 1u : 0u) << "row " << id;
  }

  data_models2::DataProvider provider(model, loaded.models().resultController, nullptr);
  for (std::uint64_t id : {1, 2, 3}) {
    SCOPED_TRACE("loop " + std::to_string(id));
    const da::row_t loop = bottomUp->getRow(id);
    auto skipping = provider.visitTargetRows(loop);
    ASSERT_TRUE(skipping);
    auto full = foundation::pool_allocate<PresenceRowVisitHandler>(callTree);
    da::IDatasetHelper::create(callTree, provider.getRowsFrom(da::CallTree, loop))
        ->visitRows(nullptr, full, da::IDatasetHelper::PreVisit, nullptr);
    EXPECT_TRUE(sameFacts(skipping->facts(), full->facts()));
    const auto& f = skipping->facts();
    EXPECT_EQ(f.hasUserFunction || f.hasSystemFunction || f.hasVectorFunction || f.hasVectorMath || f.hasCppNames,
              c.classified);
  }
}

const CalleeCase kCallees[] = {
    {"NothingBelow", "", false},
    {"UserFunction", R"({ "FunctionName": "helper", "Field24": 0, "IsSystemFunction": 0 })", true},
    {"SystemFunction", R"({ "FunctionName": "write", "Field24": 0, "IsSystemFunction": 1 })", true},
    {"CompiledVectorVariant", R"({ "FunctionName": "kernel", "Field24": 1 })", true},
    {"VectorMathByMangledName", R"({ "FunctionName": "sin", "MangledName": "_ZGVdN4v_sin" })", true},
    {"QualifiedNameOnly", R"({ "FunctionName": "Grid::at" })", true},
    {"UnknownRow", R"({ "FunctionName": "inlined", "Field24": 7 })", false},
    {"FunctionKindOfAnotherType", R"({ "FunctionName": "odd", "Field24": {"text": "0"} })", false},
};

INSTANTIATE_TEST_SUITE_P(Callees, SkippedSubtrees, testing::ValuesIn(kCallees),
                         [](const testing::TestParamInfo<CalleeCase>& info) { return info.param.name; });

}  // namespace
