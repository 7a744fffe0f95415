// The shipped example result, read through the interfaces the library uses:
// what a hand-written result says must reach the library unchanged.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/host_data/result_loader.h"

namespace {

namespace da = data_abstractions2;
using foundation::variant_t;

std::vector<std::uint64_t> ids(foundation::generic_iterator_t<da::row_t> rows) {
  std::vector<std::uint64_t> out;
  for (; !rows.at_end(); rows.next()) out.push_back(rows.current()->getId());
  return out;
}

class ExampleResult : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const char* root = std::getenv("NIMBEX_SOURCE_DIR");
    directory_ = std::string(root ? root : ".") + "/examples/basic";
    loaded_ = std::make_unique<host_data::LoadResult>(host_data::loadResultDirectory(directory_));
  }
  static void TearDownTestSuite() { loaded_.reset(); }

  void SetUp() override { ASSERT_TRUE(loaded_->ok()) << loaded_->error(); }

  static const host_data::ResultModels& models() { return loaded_->models(); }
  static foundation::sptr_t<da::IDataset> tree(int kind) { return models().surveyModel->getDataset(kind); }
  static da::row_t row(int kind, std::uint64_t id) { return tree(kind)->getRow(id); }
  static variant_t field(const da::row_t& r, da::FieldId id) {
    variant_t value;
    auto dataset = tree(da::BottomUp);
    EXPECT_TRUE(dataset->getValue(r, dataset->getColumn(id), 0, value)) << "field " << id;
    return value;
  }

  static std::string directory_;
  static std::unique_ptr<host_data::LoadResult> loaded_;
};

std::string ExampleResult::directory_;
std::unique_ptr<host_data::LoadResult> ExampleResult::loaded_;

TEST_F(ExampleResult, DescribesTheMachineAndTheCollection) {
  const auto& controller = *models().resultController;
  EXPECT_EQ(controller.getIsaExtensions(0), 11u);
  EXPECT_EQ(controller.getCpuType(0), 10);
  EXPECT_EQ(controller.getMaxVectorLength(0), 512);
  EXPECT_EQ(controller.getCodeBits(), 64);
  EXPECT_FALSE(controller.isResultFrozen());
  for (int kind : {1, 2, 3, 4, 5}) EXPECT_TRUE(controller.hasCollectedData(kind)) << kind;
  EXPECT_FALSE(controller.hasCollectedData(6));
  EXPECT_EQ(controller.getResultDir(0), directory_);
  EXPECT_EQ(controller.getResultFile(), directory_ + "/result.json");
  EXPECT_EQ(models().session.at("totalElapsedTime"), variant_t(4.25));
}

TEST_F(ExampleResult, ResultLevelData) {
  const auto& survey = *models().surveyModel;
  std::vector<std::string> roofs;
  for (auto it = survey.getRoofItems(); !it.at_end(); it.next()) roofs.push_back(it.current().name);
  EXPECT_EQ(roofs.size(), 6u);
  EXPECT_EQ(roofs.front(), "L1 Bandwidth");
  auto first = survey.getRoofItems();
  EXPECT_EQ(first.current().value, 1228800000000u);
  EXPECT_EQ(first.current().secondWord, 1u);

  std::vector<da::FileLocator> libraries;
  ASSERT_TRUE(survey.getFileLocators(da::LocatorCLibrary, libraries));
  ASSERT_EQ(libraries.size(), 2u);
  EXPECT_EQ(libraries[0].path, "/lib/x86_64-linux-gnu/libc-2.31.so");
  EXPECT_FALSE(survey.getFileLocators(da::LocatorSources, libraries));

  const da::ProgramMetrics metrics = survey.getProgramMetrics();
  EXPECT_DOUBLE_EQ(metrics.elapsedTime, 4.25);
  EXPECT_DOUBLE_EQ(metrics.gflops, 2.9);
  EXPECT_EQ(metrics.threadCount, 1u);
}

TEST_F(ExampleResult, TreesKeepFileOrderAndNesting) {
  // The example grows as detectors are added; its first functions stay.
  const std::vector<std::uint64_t> roots = ids(tree(da::BottomUp)->getRoots());
  ASSERT_GE(roots.size(), 4u);
  EXPECT_EQ(std::vector<std::uint64_t>(roots.begin(), roots.begin() + 4), (std::vector<std::uint64_t>{1, 7, 9, 10}));
  EXPECT_GE(tree(da::BottomUp)->rowCount(), 10u);
  EXPECT_EQ(ids(tree(da::CallTree)->getRoots()), (std::vector<std::uint64_t>{100}));
  EXPECT_EQ(tree(da::BottomUp)->getRowId(2), 3u);

  foundation::generic_iterator_t<da::row_t> children;
  EXPECT_EQ(row(da::BottomUp, 3)->getChildren(0, 1, children), 3);
  EXPECT_EQ(ids(children), (std::vector<std::uint64_t>{4, 5, 6}));
  EXPECT_EQ(row(da::BottomUp, 5)->getParent()->getId(), 3u);
  EXPECT_FALSE(row(da::BottomUp, 1)->getParent());

  auto metadata = row(da::BottomUp, 3)->getMetadata();
  EXPECT_EQ(metadata->getType(), 4u | 16u | 8u | 256u);
  EXPECT_FALSE(row(da::BottomUp, 1)->getMetadata()->hasType(da::IMetadata::TypeLoop));
  EXPECT_TRUE(row(da::BottomUp, 10)->getMetadata()->hasType(da::IMetadata::TypeSkipped));
}

TEST_F(ExampleResult, FieldsKeepTheirKinds) {
  const da::row_t loop = row(da::BottomUp, 3);
  EXPECT_EQ(field(loop, da::SelfTime), variant_t(3.07));
  EXPECT_EQ(field(loop, da::InstructionSets), variant_t("AVX; AVX2; Type Conversions"));
  EXPECT_EQ(field(loop, da::VectorizationDiagnosticId), variant_t::make_integer(variant_t::t_i32, 15300));
  EXPECT_EQ(field(loop, da::InnerLoopCount), variant_t::make_integer(variant_t::t_u64, 0));
  EXPECT_EQ(field(loop, da::IsVectorized), variant_t(true));
  EXPECT_EQ(field(loop, static_cast<da::FieldId>(3)), variant_t::make_integer(variant_t::t_i32, 43));

  // A field no row has is no column; a field this row lacks is no value.
  EXPECT_EQ(tree(da::BottomUp)->getColumn(da::Field392), da::kNoColumn);
  variant_t value;
  EXPECT_FALSE(tree(da::BottomUp)->getValue(row(da::BottomUp, 1), tree(da::BottomUp)->getColumn(da::VectorLengths),
                                            0, value));
}

TEST_F(ExampleResult, CodeMixesAndRoofline) {
  const auto& survey = *models().surveyModel;
  const da::CodeBlock code = survey.getCodeBlock(da::CallTree, row(da::CallTree, 103));
  EXPECT_EQ(code.address, 0x401a40u);
  ASSERT_EQ(code.bytes.size(), 29u);
  EXPECT_EQ(code.bytes.front(), 0xc5);
  EXPECT_EQ(code.bytes.back(), 0xe3);
  EXPECT_TRUE(survey.getCodeBlock(da::BottomUp, row(da::BottomUp, 1)).empty());

  da::InstructionMix mix;
  ASSERT_TRUE(survey.getInstructionMix(row(da::BottomUp, 3), da::MixSummary, mix));
  EXPECT_EQ(mix.at(9), variant_t(std::int64_t(7)));
  ASSERT_TRUE(survey.getInstructionMix(row(da::BottomUp, 3), da::MixDynamic, mix));
  EXPECT_EQ(mix.at(5), variant_t(std::int64_t(2044000)));
  EXPECT_FALSE(survey.getInstructionMix(row(da::BottomUp, 8), da::MixStatic, mix));

  da::RowRoofline roofline;
  ASSERT_TRUE(survey.getRowRoofline(row(da::BottomUp, 8), roofline));
  EXPECT_EQ(roofline.operations, 1000000u);
  EXPECT_EQ(roofline.totalOperations, 21000000u);
  EXPECT_TRUE(roofline.hasCallStacks);
  EXPECT_FALSE(survey.getRowRoofline(row(da::BottomUp, 1), roofline));

  auto throttling = survey.getAVX512FreqThrottlingModel();
  ASSERT_TRUE(throttling);
  EXPECT_EQ(throttling->diagnose(row(da::CallTree, 103)), 3);
  EXPECT_EQ(throttling->diagnose(row(da::CallTree, 100)), 0);
}

TEST_F(ExampleResult, LoopManagerData) {
  auto manager = models().surveyModel->getLoopManager();
  auto bottomUp = tree(da::BottomUp);

  da::SourceTripCountsData trips;
  ASSERT_TRUE(manager->getSourceTripCounts(row(da::BottomUp, 3), bottomUp, da::TripCountAverage, trips));
  EXPECT_EQ(trips.value, 255u);
  ASSERT_EQ(trips.summands.size(), 1u);
  EXPECT_EQ(trips.summands[0].count, 511000u);
  ASSERT_TRUE(manager->getSourceTripCounts(row(da::BottomUp, 3), bottomUp, da::CallCount, trips));
  EXPECT_EQ(trips.value, 511000u);
  EXPECT_FALSE(manager->getSourceTripCounts(row(da::BottomUp, 1), bottomUp, da::TripCountAverage, trips));
  std::int64_t median = 0;
  ASSERT_TRUE(manager->getMedianSourceTripCount(row(da::BottomUp, 2), bottomUp, median));
  EXPECT_EQ(median, 1022);

  // Access patterns: two records of loop 3, the first with stride shares and a gather.
  ASSERT_TRUE(manager->getTable(da::TableAccessPatterns));
  std::vector<int> indices;
  manager->getIndices(bottomUp, row(da::BottomUp, 3), da::TableAccessPatterns, indices);
  EXPECT_EQ(indices, (std::vector<int>{0, 1}));
  auto patterns = manager->getTable(da::TableAccessPatterns);
  auto record = patterns->getRow(patterns->getRowId(indices[0]));
  variant_t value;
  ASSERT_TRUE(patterns->getValue(record, patterns->getColumn(da::StrideRowMark), 0, value));
  EXPECT_EQ(value, variant_t(true));
  ASSERT_TRUE(patterns->getValue(record, patterns->getColumn(da::StrideKind0), 0, value));
  EXPECT_EQ(value, variant_t(66.7));

  da::Gathers gathers;
  gathers.indices = indices;
  ASSERT_TRUE(manager->getGathers(gathers));
  EXPECT_TRUE(gathers.valid);
  ASSERT_EQ(gathers.gathers.size(), 1u);
  EXPECT_EQ(gathers.gathers[0].variableName, "in.cells");
  EXPECT_EQ(gathers.gathers[0].patternCode, "3");
  EXPECT_EQ(gathers.gathers[0].sourceLocation, "relax.cpp:44");

  // Dependencies of loop 8, through a view.
  manager->getIndices(bottomUp, row(da::BottomUp, 8), da::TableDependencies, indices);
  auto view = manager->getView(indices, da::TableDependencies);
  ASSERT_TRUE(view);
  ASSERT_EQ(view->rowCount(), 1u);
  ASSERT_TRUE(view->getValue(0, view->getColumn(da::DependencyField), value));
  EXPECT_EQ(value, variant_t("Read after write dependency"));

  auto candidates = manager->getNtsCandidates(row(da::BottomUp, 3), bottomUp, da::TableAccessPatterns);
  ASSERT_EQ(candidates.size(), 1u);
  EXPECT_EQ(candidates[0].kind, "cache evictions");
  EXPECT_EQ(candidates[0].evictions, 1280000u);
}

}  // namespace
