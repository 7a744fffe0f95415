// Behaviour of the in-memory models that the library relies on beyond
// plain reads: the kinds of stored values, ownership, trees deeper than the
// call stack, the findings store, and the edges of the loop-manager queries.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "platform/host_data/result_loader.h"

namespace {

namespace da = data_abstractions2;
using foundation::variant_t;

host_data::ResultModels load(const std::string& members) {
  host_data::LoadResult loaded =
      host_data::loadResultText(R"({"format": "nimbex-result", "version": 1, )" + members + "}", "/r");
  EXPECT_TRUE(loaded.ok()) << loaded.error();
  return loaded.ok() ? loaded.models() : host_data::ResultModels{};
}

// 1 ── 2 ── 4
//  └── 3
const char* const kSmallTree =
    R"("bottomUp": {"rows": [{"id": 1, "children": [2, 3]}, {"id": 2, "children": [4]}, {"id": 3},
                             {"id": 4, "fields": {"FuncInstIdx": 40}}]},
       "callTree": {"rows": [{"id": 9, "fields": {"FuncInstIdx": 41}}]})";

std::vector<std::uint64_t> ids(foundation::generic_iterator_t<da::row_t> rows) {
  std::vector<std::uint64_t> out;
  for (; !rows.at_end(); rows.next()) out.push_back(rows.current()->getId());
  return out;
}

// The kind of a stored value is what readers convert by, so every JSON
// spelling must arrive as exactly the kind the file means.
struct TypedCase {
  const char* name;
  const char* field;  // key in "fields"
  const char* json;   // its value
  variant_t expected;
};

class TypedValues : public testing::TestWithParam<TypedCase> {};

TEST_P(TypedValues, ReadBackWithKindAndValue) {
  const TypedCase& c = GetParam();
  host_data::ResultModels models =
      load(std::string(R"("bottomUp": {"rows": [{"id": 7, "fields": {")") + c.field + "\": " + c.json + "}}]}");
  ASSERT_TRUE(models.surveyModel);
  auto dataset = models.surveyModel->getDataset(da::BottomUp);
  auto row = dataset->getRow(7);
  ASSERT_TRUE(row);

  int id = 0;
  if (!da::fieldIdFromName(c.field, id)) id = std::stoi(c.field);
  const auto column = dataset->getColumn(static_cast<da::FieldId>(id));
  ASSERT_NE(column, da::kNoColumn);
  variant_t value;
  ASSERT_TRUE(dataset->getValue(row, column, 0, value));
  EXPECT_EQ(value.type(), c.expected.type()) << variant_t::type_name(value.type());
  EXPECT_EQ(value, c.expected) << value.to_string();
}

variant_t integer(variant_t::type_t type, std::uint64_t raw) { return variant_t::make_integer(type, raw); }

const TypedCase kCases[] = {
    {"PlainInteger", "999", "42", variant_t(std::int64_t(42))},
    {"NegativeInteger", "999", "-7", variant_t(std::int64_t(-7))},
    {"Fraction", "999", "0.25", variant_t(0.25)},
    {"ExponentIsReal", "999", "1e3", variant_t(1000.0)},
    {"IntegralRealStaysReal", "999", "2.0", variant_t(2.0)},
    {"True", "999", "true", variant_t(true)},
    {"Text", "999", "\"AVX2\"", variant_t("AVX2")},
    {"EmptyText", "999", "\"\"", variant_t("")},
    {"Unsigned64Max", "999", R"({"u64": 18446744073709551615})",
     integer(variant_t::t_u64, std::numeric_limits<std::uint64_t>::max())},
    {"Signed8Min", "999", R"({"i8": -128})", integer(variant_t::t_i8, static_cast<std::uint64_t>(-128))},
    {"Unsigned16Max", "999", R"({"u16": 65535})", integer(variant_t::t_u16, 65535)},
    {"Signed32", "VectorizationDiagnosticId", R"({"i32": 15344})", integer(variant_t::t_i32, 15344)},
    {"Unsigned32", "999", R"({"u32": 4294967295})", integer(variant_t::t_u32, 4294967295u)},
    {"Signed64Explicit", "999", R"({"i64": -1})", variant_t(std::int64_t(-1))},
    {"Real32", "999", R"({"f32": 0.5})", variant_t(0.5f)},
    {"Real64FromInteger", "999", R"({"f64": 3})", variant_t(3.0)},
    {"ExplicitBool", "999", R"({"bool": false})", variant_t(false)},
    {"ExplicitText", "999", R"({"text": "x"})", variant_t("x")},
    // Fields the library reads: a plain value of the right class, or any
    // explicit kind on purpose.
    {"IntegerForRealField", "SelfTime", "3", variant_t(std::int64_t(3))},
    {"NameAndNumberAlike", "10", "0.5", variant_t(0.5)},
    {"ExplicitTextInRealField", "SelfTime", R"({"text": "n/a"})", variant_t("n/a")},
    {"ExplicitIntegerInBoolField", "IsVectorized", R"({"i32": 1})", integer(variant_t::t_i32, 1)},
    {"EscapedText", "FunctionName", R"("operator\"\"_km\n")", variant_t("operator\"\"_km\n")},
};

INSTANTIATE_TEST_SUITE_P(Fields, TypedValues, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<TypedCase>& info) { return info.param.name; });

// Trees far deeper than the call stack: loading, walking and freeing them
// must take no stack in proportion to depth.
constexpr std::uint64_t kDepth = 200000;

/// Rows 1..kDepth, each the only child of the one before; with `closed`, the
/// last names the first as its child, which makes the whole chain a cycle.
std::string chain(bool closed) {
  std::string json = R"({"format": "nimbex-result", "version": 1, "bottomUp": {"rows": [)";
  json.reserve(kDepth * 80);
  for (std::uint64_t id = 1; id <= kDepth; ++id) {
    if (id > 1) json += ",\n";
    const std::uint64_t child = id < kDepth ? id + 1 : (closed ? 1 : 0);
    json += R"({"id": )" + std::to_string(id) + R"(, "type": 4, "fields": {"SelfTime": 0.001})";
    if (child) json += R"(, "children": [)" + std::to_string(child) + "]";
    json += "}";
  }
  json += "]}}";
  return json;
}

TEST(DeepTree, ChainOfTwoHundredThousandRowsLoadsAndWalks) {
  host_data::LoadResult loaded = host_data::loadResultText(chain(false), "/deep");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  auto dataset = loaded.models().surveyModel->getDataset(da::BottomUp);
  ASSERT_EQ(dataset->rowCount(), kDepth);

  auto roots = dataset->getRoots();
  ASSERT_EQ(roots.size(), 1u);
  foundation::generic_iterator_t<da::row_t> all;
  EXPECT_EQ(roots.current()->getChildren(0, 0, all), static_cast<int>(kDepth - 1));

  da::row_t leaf = dataset->getRow(kDepth);
  std::uint64_t depth = 0;
  for (da::row_t row = leaf; row; row = row->getParent()) ++depth;
  EXPECT_EQ(depth, kDepth);

  // Release the models while holding the deepest row: the tree must stay,
  // and freeing it afterwards must not recurse through the chain.
  loaded = host_data::LoadResult::failure("released");
  EXPECT_EQ(leaf->getParent()->getId(), kDepth - 1);
  leaf.reset();
}

TEST(DeepTree, CycleAsLongAsTheTreeIsReported) {
  host_data::LoadResult loaded = host_data::loadResultText(chain(true), "/deep");
  ASSERT_FALSE(loaded.ok());
  EXPECT_NE(loaded.error().find("is its own ancestor"), std::string::npos) << loaded.error();
}

TEST(HostModels, ChildrenDirectOrAllDescendantsParentsFirst) {
  host_data::ResultModels models = load(kSmallTree);
  auto root = models.surveyModel->getDataset(da::BottomUp)->getRow(1);
  foundation::generic_iterator_t<da::row_t> children;
  EXPECT_EQ(root->getChildren(0, 1, children), 2);
  EXPECT_EQ(ids(children), (std::vector<std::uint64_t>{2, 3}));
  EXPECT_EQ(root->getChildren(0, 0, children), 3);
  EXPECT_EQ(ids(children), (std::vector<std::uint64_t>{2, 4, 3}));
  EXPECT_EQ(root->getChildren(5, 1, children), -1);
}

TEST(HostModels, RowKeepsItsTreeAlive) {
  da::row_t leaf;
  foundation::sptr_t<da::IMetadata> metadata;
  {
    host_data::ResultModels models = load(kSmallTree);
    leaf = models.surveyModel->getDataset(da::BottomUp)->getRow(4);
    metadata = models.surveyModel->getDataset(da::BottomUp)->getRow(3)->getMetadata();
  }
  // Everything but the two pointers is gone; the tree must still be whole.
  ASSERT_TRUE(leaf->getParent());
  EXPECT_EQ(leaf->getParent()->getParent()->getId(), 1u);
  EXPECT_EQ(metadata->getType(), 0u);
}

TEST(HostModels, RowsAreReadAgainstEitherTree) {
  // Readers look a row of one tree up against the other tree's dataset.
  host_data::ResultModels models = load(kSmallTree);
  auto bottomUp = models.surveyModel->getDataset(da::BottomUp);
  auto callRow = models.surveyModel->getDataset(da::CallTree)->getRow(9);
  variant_t value;
  ASSERT_TRUE(bottomUp->getValue(callRow, bottomUp->getColumn(da::FuncInstIdx), 0, value));
  EXPECT_EQ(value, variant_t(std::int64_t(41)));
  EXPECT_FALSE(bottomUp->getValue(da::row_t(), bottomUp->getColumn(da::FuncInstIdx), 0, value));
  EXPECT_FALSE(bottomUp->getValue(callRow, da::kNoColumn, 0, value));
}

TEST(HostModels, FindingsStoreHandsOutSnapshots) {
  host_data::ResultModels models = load(kSmallTree);
  auto row = models.surveyModel->getDataset(da::BottomUp)->getRow(2);
  auto first = da::createIssueEx("a", "A", "", 1, 0, {});
  auto second = da::createIssueEx("b", "B", "", 1, 0, {});

  EXPECT_TRUE(row->rowIssues().at_end());
  row->addRowIssue(first);
  auto snapshot = row->rowIssues();
  row->addRowIssue(second);
  EXPECT_EQ(snapshot.size(), 1u);  // taken before the second add
  EXPECT_EQ(row->rowIssues().size(), 2u);
  row->clearRowIssues();
  EXPECT_EQ(snapshot.size(), 1u);
  EXPECT_EQ(snapshot.current()->getStringId(), "a");
  EXPECT_TRUE(row->rowIssues().at_end());

  row->addRowTrait(da::createTraitRecord(da::ITrait::Horizontal, "t", da::InstructionSets));
  EXPECT_EQ(row->rowTraits().size(), 1u);
  row->clearRowTraits();
  EXPECT_TRUE(row->rowTraits().at_end());
}

TEST(HostModels, FindingsStoreLockIsRecursiveAndGuardsWriters) {
  host_data::ResultModels models = load(kSmallTree);
  auto row = models.surveyModel->getDataset(da::BottomUp)->getRow(3);
  {
    auto outer = row->lockRow();
    auto inner = row->lockRow();  // a parent reading its own findings while lifting
    row->addRowIssue(da::createIssueEx("held", "", "", 1, 0, {}));
  }
  auto issue = da::createIssueEx("x", "", "", 1, 0, {});
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&] {
      for (int i = 0; i < 500; ++i) row->addRowIssue(issue);
    });
  }
  for (auto& writer : writers) writer.join();
  EXPECT_EQ(row->rowIssues().size(), 1u + 4 * 500);
}

TEST(HostModels, TablesExistWhenCollectedOrWhenRecordsArePresent) {
  host_data::ResultModels none = load(kSmallTree);
  EXPECT_FALSE(none.surveyModel->getLoopManager()->getTable(da::TableAccessPatterns));
  EXPECT_FALSE(none.surveyModel->getLoopManager()->getView({0}, da::TableDependencies));

  host_data::ResultModels collected = load(std::string(R"("collected": ["dependencies"], )") + kSmallTree);
  auto table = collected.surveyModel->getLoopManager()->getTable(da::TableDependencies);
  ASSERT_TRUE(table);
  EXPECT_EQ(table->rowCount(), 0u);
  EXPECT_EQ(table->getColumn(da::DependencyField), da::kNoColumn);
}

TEST(HostModels, LoopManagerQueriesAtTheirEdges) {
  host_data::ResultModels models =
      load(R"("bottomUp": {"rows": [
         {"id": 1, "accessPatterns": [{"gathers": [{"variable": "a", "pattern": 5}]}, {"fields": {"StrideKind2": 12.5}}],
          "ntsCandidates": [{"kind": "NT-stores"}]},
         {"id": 2}]})");
  auto manager = models.surveyModel->getLoopManager();
  auto bottomUp = models.surveyModel->getDataset(da::BottomUp);

  std::vector<int> indices = {7, 7, 7};
  manager->getIndices(bottomUp, bottomUp->getRow(2), da::TableAccessPatterns, indices);
  EXPECT_TRUE(indices.empty());  // replaced, not appended to
  manager->getIndices(bottomUp, bottomUp->getRow(1), da::TableAccessPatterns, indices);
  EXPECT_EQ(indices, (std::vector<int>{0, 1}));

  auto view = manager->getView({1, 99, -1}, da::TableAccessPatterns);
  ASSERT_TRUE(view);
  ASSERT_EQ(view->rowCount(), 1u);
  variant_t share;
  ASSERT_TRUE(view->getValue(0, view->getColumn(da::StrideKind2), share));
  EXPECT_EQ(share, variant_t(12.5));
  EXPECT_FALSE(view->getValue(1, view->getColumn(da::StrideKind2), share));

  da::Gathers gathers;
  gathers.indices = {0};
  ASSERT_TRUE(manager->getGathers(gathers));
  ASSERT_EQ(gathers.gathers.size(), 1u);
  EXPECT_EQ(gathers.gathers[0].patternCode, "5");  // integer codes become decimal text
  da::Gathers outside;
  outside.indices = {0, 2};
  EXPECT_FALSE(manager->getGathers(outside));
  EXPECT_FALSE(outside.valid);
  EXPECT_TRUE(outside.gathers.empty());

  EXPECT_EQ(manager->getNtsCandidates(bottomUp->getRow(1), bottomUp, da::TableAccessPatterns).size(), 1u);
  EXPECT_TRUE(manager->getNtsCandidates(bottomUp->getRow(1), bottomUp, da::TableDependencies).empty());
}

TEST(HostModels, AbsentPartsOfAResultAreNull) {
  host_data::ResultModels models = load(R"("bottomUp": {"rows": []})");
  const auto& survey = *models.surveyModel;
  EXPECT_TRUE(survey.getDataset(da::BottomUp));
  EXPECT_EQ(survey.getDataset(da::BottomUp)->rowCount(), 0u);
  EXPECT_TRUE(survey.getDataset(da::BottomUp)->getRoots().at_end());
  EXPECT_FALSE(survey.getDataset(da::CallTree));
  EXPECT_FALSE(survey.getDataset(3));
  EXPECT_FALSE(survey.getAVX512FreqThrottlingModel());
  EXPECT_TRUE(survey.getRoofItems().at_end());
  EXPECT_EQ(survey.getProgramMetrics().elapsedTime, 0.0);
  EXPECT_EQ(survey.getDataset(da::BottomUp)->getRowId(0), ~std::uint64_t(0));
  EXPECT_FALSE(survey.getDataset(da::BottomUp)->getRow(1));
  EXPECT_EQ(models.resultController->getIsaExtensions(0), 0u);
  EXPECT_FALSE(models.resultController->hasCollectedData(1));
}

}  // namespace
