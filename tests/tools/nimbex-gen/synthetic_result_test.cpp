// Generated results must load, have the promised shape, and be the same for
// the same seed.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

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

struct ShapeCase {
  const char* name;
  nimbex_gen::Shape shape;
  std::size_t maxDepth;  // of the bottom-up tree, in rows
};

class GeneratedShapes : public testing::TestWithParam<ShapeCase> {};

TEST_P(GeneratedShapes, LoadWithTheirShape) {
  const ShapeCase& c = GetParam();
  nimbex_gen::Options options;
  options.rows = 300;
  options.shape = c.shape;
  options.callTree = true;
  options.machineCode = true;
  options.seed = 11;
  options.outputDir = scratch(c.name);
  std::string error;
  ASSERT_TRUE(nimbex_gen::writeSyntheticResult(options, error)) << error;

  host_data::LoadResult loaded = host_data::loadResultDirectory(options.outputDir);
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  const auto& survey = *loaded.models().surveyModel;
  auto bottomUp = survey.getDataset(da::BottomUp);
  auto callTree = survey.getDataset(da::CallTree);
  ASSERT_EQ(bottomUp->rowCount(), 300u);
  ASSERT_EQ(callTree->rowCount(), 300u);

  std::size_t deepest = 0;
  std::size_t loops = 0;
  for (std::size_t i = 0; i < bottomUp->rowCount(); ++i) {
    da::row_t row = bottomUp->getRow(bottomUp->getRowId(static_cast<int>(i)));
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
  EXPECT_LE(deepest, c.maxDepth);
  if (c.shape == nimbex_gen::Shape::Deep) {
    EXPECT_EQ(deepest, 300u);
  }
  EXPECT_TRUE(survey.getAVX512FreqThrottlingModel());

  for (const auto& entry : fs::directory_iterator(options.outputDir)) {
    EXPECT_EQ(entry.path().filename(), "result.json") << "left behind: " << entry.path();
  }
}

const ShapeCase kShapes[] = {
    {"Wide", nimbex_gen::Shape::Wide, 2},
    {"Deep", nimbex_gen::Shape::Deep, 300},
    {"Mixed", nimbex_gen::Shape::Mixed, 13},
};

INSTANTIATE_TEST_SUITE_P(Shapes, GeneratedShapes, testing::ValuesIn(kShapes),
                         [](const testing::TestParamInfo<ShapeCase>& info) { return info.param.name; });

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

}  // namespace
