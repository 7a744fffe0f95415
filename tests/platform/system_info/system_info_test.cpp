#include "platform/system_info/system_info.h"

#include <gtest/gtest.h>

namespace {

using system_info::SystemInfo;

TEST(SystemInfoTest, IsaLevelsOfCompilerSpellings) {
  struct Case {
    const char* name;
    std::uint64_t expected;  ///< the stored number, which detectors compare
  };
  const Case cases[] = {
      {"sse", 1},         {"SSE2", 2},          {"sse3", 3},           {"SSSE3", 4},
      {"sse4.1", 5},      {"SSE4_2", 6},        {"sse42", 6},          {"AVX", 7},
      {"avx2", 10},       {"AVX-512", 11},      {"avx512f", 11},       {"avx512_er", 12},
      {"AVX512BW", 13},   {"avx512core", 13},   {"avx512vnni", 14},    {"avx512_fp16", 11},
      {" avx2 ", 10},     {"", 0},              {"neon", 0},           {"avx3", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(static_cast<std::uint64_t>(SystemInfo::getIsaType(c.name)), c.expected);
  }
  EXPECT_EQ(SystemInfo::getIsaType(nullptr), SystemInfo::IsaNone);
}

TEST(SystemInfoTest, LevelsOrderAsDetectorsCompareThem) {
  // Detectors ask "at least AVX2" and "below AVX-512" with plain comparisons.
  EXPECT_LT(SystemInfo::getIsaType("sse4.2"), SystemInfo::getIsaType("avx"));
  EXPECT_LT(SystemInfo::getIsaType("avx"), SystemInfo::IsaAvx2);
  EXPECT_LT(SystemInfo::getIsaType("avx2"), SystemInfo::IsaAvx512);
  EXPECT_GE(SystemInfo::getIsaType("avx512bw"), SystemInfo::IsaAvx512);
}

}  // namespace
