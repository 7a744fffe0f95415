// Behaviour of the in-memory models that the library relies on beyond
// plain reads: ownership, the findings store, and the edges of the
// loop-manager queries.

#include <gtest/gtest.h>

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
