#include <algorithm>
#include <cctype>
#include <string_view>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/math_function_names.h"

namespace {

using data_models2::isMathFunctionName;
using data_models2::mathFunctionNames;

TEST(MathFunctionNamesTest, TableIsSortedUniqueAndLowerCase) {
  const auto names = mathFunctionNames();
  EXPECT_GE(names.size(), 400u);
  // The look-up is a binary search: an entry out of order would be missed.
  EXPECT_TRUE(std::adjacent_find(names.begin(), names.end(), std::greater_equal<>()) == names.end());
  for (std::string_view name : names) {
    EXPECT_FALSE(name.empty());
    EXPECT_TRUE(std::none_of(name.begin(), name.end(), [](char c) { return std::isupper(static_cast<unsigned char>(c)); }))
        << name;
    EXPECT_TRUE(isMathFunctionName(name)) << name;
  }
  EXPECT_EQ(names.front(), "abs");
}

TEST(MathFunctionNamesTest, FamiliesOfNames) {
  struct Case {
    const char* name;
    bool expected;
  };
  const Case cases[] = {
      {"remainder", true}, {"remainderf", true}, {"remainderl", true}, {"sqrt", true},   {"fma", true},
      {"sincosf", true},   {"atan2d", true},     {"acosd", true},      {"sindf", true},   {"cexp", true},
      {"dsqrt", true},     {"bessel_j0", true},  {"alog10", true},     {"rsqrtf", true},  {"tgammal", true},
      {"Sqrt", false},     {"sqrt_", false},     {"memset", false},    {"printf", false}, {"", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(isMathFunctionName(c.name), c.expected);
  }
}

}  // namespace
