// Generated results must load, have the promised shape, and be the same for
// the same seed. What the library makes of them: loops call nothing of their
// own, every loop's code decodes, and the mix of loop kinds is wide enough
// that detectors find something on some loops and not on all.

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/assembler_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"
#include "tools/nimbex-gen/synthetic_result.h"

namespace {

namespace da = data_abstractions2;
namespace fs = std::filesystem;

std::string scratch(const std::string& name) {
  const std::string dir = testing::TempDir() + "/nimbex_gen_" + name;
  fs::remove_all(dir);
  return dir;
}

std::string contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(Generator, SameSeedSameBytes) {
  nimbex_gen::Options options;
  options.rows = 200;
  options.callTree = true;
  std::string error;
  std::string texts[3];
  const std::uint64_t seeds[3] = {5, 5, 6};
  for (int i = 0; i < 3; ++i) {
    options.seed = seeds[i];
    options.outputDir = scratch("seed" + std::to_string(i));
    ASSERT_TRUE(nimbex_gen::writeSyntheticResult(options, error)) << error;
    texts[i] = contents(options.outputDir + "/result.json");
  }
  EXPECT_EQ(texts[0], texts[1]);
  EXPECT_NE(texts[0], texts[2]);
}

TEST(Generator, RejectsUnknownShapeAndMissingDirectory) {
  nimbex_gen::Shape shape = nimbex_gen::Shape::Wide;
  EXPECT_FALSE(nimbex_gen::parseShape("tall", shape));
  EXPECT_TRUE(nimbex_gen::parseShape("deep", shape));
  EXPECT_EQ(shape, nimbex_gen::Shape::Deep);

  nimbex_gen::Options options;
  std::string error;
  EXPECT_FALSE(nimbex_gen::writeSyntheticResult(options, error));
  EXPECT_EQ(error, "no output directory");
}

class GeneratedFacts : public testing::TestWithParam<nimbex_gen::Shape> {
 protected:
  void SetUp() override {
    nimbex_gen::Options options;
    options.rows = kRows;
    options.shape = GetParam();
    options.callTree = true;
    options.machineCode = true;
    options.seed = 3;
    // Per process: ctest may run the cases of one shape side by side.
    options.outputDir = testing::TempDir() + "/nimbex_gen_facts_" + std::to_string(::getpid()) + "_" +
                        std::to_string(static_cast<int>(GetParam()));
    fs::remove_all(options.outputDir);
    std::string error;
    ASSERT_TRUE(nimbex_gen::writeSyntheticResult(options, error)) << error;
    for (const auto& entry : fs::directory_iterator(options.outputDir)) {
      EXPECT_EQ(entry.path().filename(), "result.json") << "left behind: " << entry.path();
    }
    host_data::LoadResult loaded = host_data::loadResultDirectory(options.outputDir);
    fs::remove_all(options.outputDir);
    ASSERT_TRUE(loaded) << loaded.error();
    models = loaded.models();
    sources = foundation::pool_allocate<host_data::HostSourceManager, da::ISourceManager>(64);
    bottomUp = models.surveyModel->getDataset(da::BottomUp);
  }

  da::row_t rowAt(std::size_t index) const { return bottomUp->getRow(bottomUp->getRowId(static_cast<int>(index))); }

  static constexpr std::size_t kRows = 600;
  host_data::ResultModels models;
  da::sptr_t<da::ISourceManager> sources;
  da::sptr_t<da::IDataset> bottomUp;
};

TEST_P(GeneratedFacts, LoadWithTheirShape) {
  const auto& survey = *models.surveyModel;
  ASSERT_EQ(bottomUp->rowCount(), kRows);
  ASSERT_EQ(survey.getDataset(da::CallTree)->rowCount(), kRows);
  std::size_t deepest = 0, loops = 0;
  for (std::size_t i = 0; i < bottomUp->rowCount(); ++i) {
    const da::row_t row = rowAt(i);
    std::size_t depth = 0;
    for (da::row_t up = row; up; up = up->getParent()) ++depth;
    deepest = std::max(deepest, depth);
    // Functions are exactly the roots; every loop has code in both trees.
    EXPECT_EQ(row->getMetadata()->hasType(da::IMetadata::TypeLoop), static_cast<bool>(row->getParent()));
    if (row->getParent()) {
      ++loops;
      EXPECT_FALSE(survey.getCodeBlock(da::BottomUp, row).empty());
    }
  }
  EXPECT_GT(loops, 0u);
  switch (GetParam()) {
    case nimbex_gen::Shape::Wide: EXPECT_LE(deepest, 2u); break;
    case nimbex_gen::Shape::Deep: EXPECT_EQ(deepest, kRows); break;
    case nimbex_gen::Shape::Mixed: EXPECT_LE(deepest, 13u); break;
  }
  EXPECT_TRUE(survey.getAVX512FreqThrottlingModel());
}

TEST_P(GeneratedFacts, LoopsCallNothingAndTheirCodeDecodes) {
  data_models2::DataProvider provider(models.surveyModel, models.resultController, sources);
  std::size_t loops = 0, conversions = 0, indirectCalls = 0;
  for (std::size_t i = 0; i < bottomUp->rowCount(); ++i) {
    const da::row_t row = rowAt(i);
    ASSERT_TRUE(provider.fillCommonData(row)) << "row " << row->getId();
    const data_models2::CommonData& data = provider.getData(row);
    if (!data.isLoop) {
      // A function's own call-tree row is a user function: the program's.
      EXPECT_TRUE(data.callsUserFunctions);
      continue;
    }
    ++loops;
    // Nested loops are part of the loop, not calls it makes.
    EXPECT_FALSE(data.callsUserFunctions) << "loop " << row->getId();
    EXPECT_FALSE(data.callsSystemFunctions) << "loop " << row->getId();
    EXPECT_TRUE(data.userFunctionNames.empty());

    auto lines = provider.getAssemblerLines(row, {});
    ASSERT_TRUE(lines) << "loop " << row->getId();
    EXPECT_GE(lines->size(), 4u);
    if (data.instructionSets.find("Type Conversions") != std::string::npos) ++conversions;
    auto walk = provider.visitRowsForAssembler(row, 1);
    ASSERT_TRUE(walk);
    if (walk->indirectCallFound()) ++indirectCalls;
  }
  ASSERT_GT(loops, 100u);
  EXPECT_GT(conversions, 0u);
  EXPECT_LT(conversions, loops / 2);
  EXPECT_GT(indirectCalls, 0u);
  EXPECT_LT(indirectCalls, loops / 4);
}

// Only innermost loops are counted: outer loops and functions show what
// their inner loops found as well. (A chain has just one innermost loop.)
class GeneratedScan : public GeneratedFacts {};

TEST_P(GeneratedScan, FindsIssuesOnSomeInnermostLoops) {
  auto handler =
      foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler, data_models2::ScanIssuesRowVisitHandler>(
          models.surveyModel, models.resultController, sources);
  ASSERT_TRUE(da::IDatasetHelper::create(bottomUp)->visitRows(nullptr, handler, da::IDatasetHelper::PostVisit, nullptr));

  const std::string conversions = da::IIssueEx::getIssueStringId(da::IIssueEx::TypeConversions);
  std::size_t innermost = 0, withConversions = 0;
  for (std::size_t i = 0; i < bottomUp->rowCount(); ++i) {
    const da::row_t row = rowAt(i);
    if (!row->getMetadata()->hasType(da::IMetadata::TypeInnermost)) continue;
    ++innermost;
    for (auto issues = row->rowIssues(); !issues.at_end(); issues.next()) {
      if (issues.current()->getStringId() == conversions) {
        ++withConversions;
        break;
      }
    }
  }
  EXPECT_GT(withConversions, 0u);
  EXPECT_LT(withConversions, innermost / 2);
}

std::string shapeName(const testing::TestParamInfo<nimbex_gen::Shape>& info) {
  switch (info.param) {
    case nimbex_gen::Shape::Wide:
      return "Wide";
    case nimbex_gen::Shape::Deep:
      return "Deep";
    case nimbex_gen::Shape::Mixed:
      break;
  }
  return "Mixed";
}

INSTANTIATE_TEST_SUITE_P(Shapes, GeneratedFacts,
                         testing::Values(nimbex_gen::Shape::Wide, nimbex_gen::Shape::Deep, nimbex_gen::Shape::Mixed),
                         shapeName);
INSTANTIATE_TEST_SUITE_P(Shapes, GeneratedScan, testing::Values(nimbex_gen::Shape::Wide, nimbex_gen::Shape::Mixed),
                         shapeName);

}  // namespace
