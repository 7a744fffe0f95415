#include <gtest/gtest.h>

#include "platform/model_support/dependency_helpers.h"
#include "platform/model_support/issue_helpers.h"

namespace {

using data_models2::issue_helpers::maxRegistersNumber;
using system_info::SystemInfo;

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

}  // namespace
