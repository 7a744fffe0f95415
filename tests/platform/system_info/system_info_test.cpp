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

TEST(SystemInfoTest, AbbreviationsAndVectorLengthsOfEachLevel) {
  struct Case {
    std::uint64_t level;
    const char* abbreviation;
    int vectorLength;
  };
  const Case cases[] = {
      {0, "", 0},          {1, "SSE", 128},          {2, "SSE2", 128},         {3, "SSE3", 128},
      {4, "SSSE3", 128},   {5, "SSE4.1", 128},       {6, "SSE4.2", 128},       {7, "AVX", 256},
      {10, "AVX2", 256},   {11, "AVX-512F", 512},    {12, "AVX-512ER", 512},   {13, "AVX-512BW", 512},
      {14, "AVX-512VNNI", 512}, {8, "", 256},        {15, "", 512},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    const auto level = static_cast<SystemInfo::IsaExtensions>(c.level);
    EXPECT_EQ(SystemInfo::getIsaAbbreviationAsString(level), c.abbreviation);
    EXPECT_EQ(SystemInfo(level).getMaxVectorLength(), c.vectorLength);
    EXPECT_EQ(SystemInfo(level).getIsaExtensions(), level);
    // A level shown to users by its abbreviation must be found again when a
    // compiler reports it under that name.
    if (*c.abbreviation) {
      EXPECT_EQ(SystemInfo::getIsaType(c.abbreviation), level);
    }
  }
}

TEST(SystemInfoTest, DefaultObjectDescribesThisMachine) {
  const SystemInfo machine;
  EXPECT_EQ(machine.getIsaExtensions(), SystemInfo::detectIsaExtensions());
  EXPECT_EQ(machine.getMaxVectorLength(), SystemInfo::getVectorLengthOfLevel(machine.getIsaExtensions()));
#if defined(__x86_64__)
  // Every x86-64 processor has SSE2, and the ladder skips the free numbers.
  EXPECT_GE(machine.getIsaExtensions(), SystemInfo::IsaSse2);
  EXPECT_NE(machine.getIsaExtensions(), 8u);
  EXPECT_NE(machine.getIsaExtensions(), 9u);
  EXPECT_GE(machine.getMaxVectorLength(), 128);
#endif
}

}  // namespace
