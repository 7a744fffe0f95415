#include <string>

#include <gtest/gtest.h>

#include "platform/model_support/traits_helpers.h"

namespace {

using namespace data_models2::traits_helpers;

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
