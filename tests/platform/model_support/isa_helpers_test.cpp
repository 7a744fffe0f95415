#include <climits>
#include <cstdint>
#include <optional>

#include <gtest/gtest.h>

#include "platform/model_support/instruction_mix.h"
#include "platform/model_support/isa_helpers.h"
#include "tests/data_abstractions2/test_tree.h"

namespace {

using namespace data_models2::isa_helpers;
namespace da = data_abstractions2;

TEST(IsaTypeTest, OrderOfCodePathsWithUnknownOnTop) {
  struct Case {
    const char* name;
    int expected;
  };
  const Case cases[] = {
      {"SSE", 0},        {"sse2", 1},        {"SSE3", 2},       {"ssse3", 3},     {"SSE4.1", 4},
      {"sse4_2", 5},     {"AVX", 6},         {"avx2", 7},       {"AVX512", 8},    {"avx512f", 8},
      {"avx512er", 9},   {"AVX512BW", 10},   {"avx512vnni", 11}, {"", 14},        {"neon", 14},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(static_cast<int>(getIsaType(c.name)), c.expected);
  }
}

TEST(IsaWidthTest, NarrowestVectorOfTheNamedSets) {
  struct Case {
    const char* name;
    int expected;
  };
  const Case cases[] = {
      {"sse2", 128},        {"SSE4.2", 128},     {"avx", 256},   {"AVX2", 256},  {"avx512", 512},
      {"AVX512BW", 512},    {"SSE2; AVX", 128},  {"avx2, avx512", 256}, {"avx2; neon", 256},
      {"", 0},              {"neon", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(getIsaMinVectorWidth(c.name), c.expected);
  }
}

TEST(TypeWidthTest, NamesOfResultsCAndFortran) {
  struct Case {
    const char* name;
    int expected;
  };
  const Case cases[] = {
      {"int8", 8},           {"UInt16", 16},          {"Float64", 64},       {"float32", 32},
      {"bfloat16", 16},      {"complex128", 128},     {"char", 8},           {"unsigned char", 8},
      {"short", 16},         {"int", 32},             {"unsigned", 32},      {"long  long", 64},
      {"signed long", 64},   {"double", 64},          {"float _Complex", 64}, {"integer", 32},
      {"INTEGER*8", 64},     {"real(8)", 64},         {"real(kind=4)", 32},  {"double precision", 64},
      {"complex*16", 128},   {"complex(8)", 128},     {"logical(1)", 8},     {"float32; float64", 64},
      {"int16, int8", 16},   {"long double", 0},      {"real*", 0},          {"real(x)", 0},
      {"vector", 0},         {"", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(getTypeMaxWidth(c.name), c.expected);
  }
}

TEST(VectorWidthTest, LengthsTimesElementWidth) {
  struct Case {
    const char* text;
    int elementBits;
    int min, max;
  };
  const Case cases[] = {
      {"4", 32, 128, 128},  {"2;4", 64, 128, 256}, {"8, 16", 32, 256, 512}, {"", 32, 32, 32},
      {"n/a", 64, 64, 64},  {"4", 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(getMinVectorWidth(c.text, c.elementBits), c.min);
    EXPECT_EQ(getMaxVectorWidth(c.text, c.elementBits), c.max);
  }
  EXPECT_EQ(getMinVectorWidth("4;8"), 128);
  EXPECT_EQ(getMaxVectorWidth("4;8"), 256);
}

class MedianManager : public da::ILoopManager {
 public:
  bool getSourceTripCounts(const da::row_t&, const da::sptr_t<da::IDataset>&, da::FieldId,
                           da::SourceTripCountsData&) const override {
    return false;
  }
  da::sptr_t<da::IDataset> getTable(int) const override { return nullptr; }
  void getIndices(const da::sptr_t<da::IDataset>&, const da::row_t&, int, std::vector<int>&) const override {}
  da::sptr_t<da::ITableView> getView(const std::vector<int>&, int) const override { return nullptr; }
  bool getGathers(da::Gathers&) const override { return false; }
  bool getMedianSourceTripCount(const da::row_t&, const da::sptr_t<da::IDataset>&,
                                std::int64_t& out) const override {
    if (!median) return false;
    out = *median;
    return true;
  }
  std::vector<da::NTSCandidatesEvictionsInfo> getNtsCandidates(const da::row_t&, const da::sptr_t<da::IDataset>&,
                                                               int) const override {
    return {};
  }
  std::optional<std::int64_t> median;
};

TEST(MedianTripCountTest, FromTheLoopManager) {
  struct Case {
    const char* name;
    std::optional<std::int64_t> median;
    int expected;
  };
  const Case cases[] = {
      {"known", 1022, 1022},
      {"unknown", std::nullopt, 0},
      {"beyond int", std::int64_t{1} << 40, INT_MAX},
  };
  const da::row_t row = da::fakes::lonelyRow();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto manager = foundation::pool_allocate<MedianManager>();
    manager->median = c.median;
    EXPECT_EQ(getMedianSourceTripCount(row, nullptr, manager), c.expected);
  }
  auto manager = foundation::pool_allocate<MedianManager>();
  manager->median = 7;
  EXPECT_EQ(getMedianSourceTripCount(nullptr, nullptr, manager), 0);
  EXPECT_EQ(getMedianSourceTripCount(row, nullptr, nullptr), 0);
}

TEST(IsaHelpersTest, VectorLengthIsTheLargestReported) {
  struct Case {
    const char* text;
    int expected;
  };
  const Case cases[] = {
      {"4", 4},      {"2;4", 4},   {"8;2", 8},    {"4, 16", 16}, {" 2 ; 4 ", 4},
      {"", 1},       {"n/a", 1},   {"4x;2", 2},   {"0", 1},      {"-8", 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(getVectorLength(c.text), c.expected);
  }
}

class MixModel : public da::ISurveyingViewModel {
 public:
  da::sptr_t<da::IDataset> getDataset(int) const override { return nullptr; }
  da::sptr_t<da::ILoopManager> getLoopManager() const override { return nullptr; }
  da::generic_iterator_t<da::RoofItem> getRoofItems() const override { return {}; }
  bool getFileLocators(int, std::vector<da::FileLocator>&) const override { return false; }
  da::ProgramMetrics getProgramMetrics() const override { return {}; }
  da::sptr_t<da::IAVX512FreqThrottlingModel> getAVX512FreqThrottlingModel() const override { return nullptr; }
  da::CodeBlock getCodeBlock(int, const da::row_t&) const override { return {}; }
  bool getInstructionMix(const da::row_t&, int kind, da::InstructionMix& mix) const override {
    if (kind != da::MixDynamic) return false;
    mix[1] = da::variant_t(42);
    return true;
  }
};

TEST(InstructionMixTest, ForwardsTheKindAndNeedsRowAndModel) {
  auto model = foundation::pool_allocate<MixModel, da::ISurveyingViewModel>();
  auto row = da::fakes::lonelyRow();
  da::InstructionMix mix;
  EXPECT_FALSE(data_models2::getInstructionMixMap(row, model, da::MixStatic, mix));
  EXPECT_TRUE(mix.empty());
  EXPECT_TRUE(data_models2::getInstructionMixMap(row, model, da::MixDynamic, mix));
  EXPECT_EQ(mix.size(), 1u);
  EXPECT_FALSE(data_models2::getInstructionMixMap(nullptr, model, da::MixDynamic, mix));
  EXPECT_FALSE(data_models2::getInstructionMixMap(row, nullptr, da::MixDynamic, mix));
}

}  // namespace
