#include <gtest/gtest.h>

#include "platform/model_support/dependency_helpers.h"
#include "platform/model_support/issue_helpers.h"
#include "platform/model_support/traits_helpers.h"

namespace {

using data_models2::issue_helpers::maxRegistersNumber;
using system_info::SystemInfo;
using namespace data_models2::traits_helpers;

TEST(RegisterFileTest, VectorRegistersByModeAndIsa) {
  struct Case {
    std::int64_t mode;
    SystemInfo::IsaExtensions isa;
    int expected;
  };
  const Case cases[] = {
      {2, SystemInfo::IsaSse2, 16},      {2, SystemInfo::IsaAvx2, 16},   {2, SystemInfo::IsaAvx512, 32},
      {2, SystemInfo::IsaAvx512Vnni, 32}, {1, SystemInfo::IsaAvx512, 8}, {1, SystemInfo::IsaSse42, 8},
      {0, SystemInfo::IsaAvx, 16},       {-2, SystemInfo::IsaAvx512Core, 32}, {2, SystemInfo::IsaNone, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.mode << "/" << c.isa);
    EXPECT_EQ(maxRegistersNumber(c.mode, c.isa), c.expected);
  }
}

TEST(DependencyTextTest, TextsAreDistinctAndOutsideNumbersEmpty) {
  for (int a = 0; a <= 5; ++a) {
    EXPECT_FALSE(data_models2::getDependencyStr(a).empty()) << a;
    for (int b = a + 1; b <= 5; ++b) EXPECT_NE(data_models2::getDependencyStr(a), data_models2::getDependencyStr(b));
  }
  EXPECT_TRUE(data_models2::getDependencyStr(-1).empty());
  EXPECT_TRUE(data_models2::getDependencyStr(6).empty());
}


// Whether any condition of a trait's list holds, as the trait detectors ask.
bool anyHolds(int id, const char* instructionSets) {
  for (const InstClass& record : getInstClasses(id)) {
    if (checkInstClasses(instructionSets, record)) return true;
  }
  return false;
}

TEST(InstClassesTest, TraitListsAgainstInstructionSets) {
  struct Case {
    int id;
    const char* instructionSets;
    bool expected;
  };
  const Case cases[] = {
      {1, "AVX; AVX2; Masked Stores", true},
      {1, "AVX;masked stores ", true},
      {1, "AVX; AVX2; Masked Stores Emulated", false},
      {1, "AVX; AVX2", false},
      {2, "SSE; SSE2; Horizontal Operations", true},
      {10, "SSE2; Divisions", true},
      {10, "SSE2; Square Roots", true},
      {10, "SSE2; Type Conversions", false},
      {11, "AVX2; Gathers", true},
      {11, "AVX2; Scatters", true},
      {11, "", false},
      {3, "AVX; Masked Stores; Gathers", false},
      {12, "Divisions", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.id << ": " << c.instructionSets);
    EXPECT_EQ(anyHolds(c.id, c.instructionSets), c.expected);
  }
}

TEST(InstClassesTest, EveryNameOfARecordMustStand) {
  const InstClass both{{"Gathers", "Divisions"}};
  EXPECT_TRUE(checkInstClasses("Divisions; AVX; Gathers", both));
  EXPECT_FALSE(checkInstClasses("AVX; Gathers", both));
  EXPECT_FALSE(checkInstClasses("AVX; Gathers", InstClass{}));
}

}  // namespace
