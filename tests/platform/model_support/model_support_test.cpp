#include <map>
#include <string>

#include <gtest/gtest.h>

#include "platform/model_support/compiler_helpers.h"
#include "platform/model_support/instruction_mix.h"
#include "platform/model_support/isa_helpers.h"
#include "tests/platform/model_support/stub_row.h"

namespace {

using data_models2::compiler_helpers::CompilerVersion;
using data_models2::compiler_helpers::parseVersion;
using data_models2::isa_helpers::getVectorLength;

TEST(CompilerHelpersTest, ParseVersion) {
  struct Case {
    const char* text;
    CompilerVersion expected;
  };
  const Case cases[] = {
      {"2021.10.0", {2021, 10, 0}},
      {"12.2", {12, 2, 0}},
      {"16", {16, 0, 0}},
      {"gcc version 12.2.0 (debian)", {12, 2, 0}},
      {"19.1.2.254", {19, 1, 2}},
      {"12.", {12, 0, 0}},
      {"17.0-beta", {17, 0, 0}},
      {"", {-1, -1, -1}},
      {"unknown", {-1, -1, -1}},
      {"99999999999.1", {-1, -1, -1}},
      {"1.99999999999", {-1, -1, -1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseVersion(c.text), c.expected);
  }
}

TEST(CompilerHelpersTest, VersionsCompareFieldByField) {
  EXPECT_LE(parseVersion("16"), parseVersion("16.0.0"));
  EXPECT_GT(parseVersion("16.0.1"), parseVersion("16.0.0"));
  EXPECT_LT(parseVersion("9.5"), parseVersion("10"));
  // An unknown compiler counts as older than any known one.
  EXPECT_LT(CompilerVersion{}, parseVersion("0.0.0"));
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

class MixModel : public data_abstractions2::ISurveyingViewModel {
 public:
  data_abstractions2::sptr_t<data_abstractions2::IDataset> getDataset(int) const override { return nullptr; }
  data_abstractions2::sptr_t<data_abstractions2::ILoopManager> getLoopManager() const override { return nullptr; }
  data_abstractions2::generic_iterator_t<data_abstractions2::RoofItem> getRoofItems() const override { return {}; }
  bool getFileLocators(int, std::vector<data_abstractions2::FileLocator>&) const override { return false; }
  data_abstractions2::ProgramMetrics getProgramMetrics() const override { return {}; }
  data_abstractions2::sptr_t<data_abstractions2::IAVX512FreqThrottlingModel> getAVX512FreqThrottlingModel()
      const override {
    return nullptr;
  }
  data_abstractions2::CodeBlock getCodeBlock(int, const data_abstractions2::row_t&) const override { return {}; }
  bool getInstructionMix(const data_abstractions2::row_t&, int kind,
                         data_abstractions2::InstructionMix& mix) const override {
    if (kind != data_abstractions2::MixDynamic) return false;
    mix[1] = data_abstractions2::variant_t(42);
    return true;
  }
};

TEST(InstructionMixTest, ForwardsTheKindAndNeedsRowAndModel) {
  auto model = foundation::pool_allocate<MixModel, data_abstractions2::ISurveyingViewModel>();
  auto row = model_support_tests::stubRow();
  data_abstractions2::InstructionMix mix;
  EXPECT_FALSE(data_models2::getInstructionMixMap(row, model, data_abstractions2::MixStatic, mix));
  EXPECT_TRUE(mix.empty());
  EXPECT_TRUE(data_models2::getInstructionMixMap(row, model, data_abstractions2::MixDynamic, mix));
  EXPECT_EQ(mix.size(), 1u);
  EXPECT_FALSE(data_models2::getInstructionMixMap(nullptr, model, data_abstractions2::MixDynamic, mix));
  EXPECT_FALSE(data_models2::getInstructionMixMap(row, nullptr, data_abstractions2::MixDynamic, mix));
}

}  // namespace
