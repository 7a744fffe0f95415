#include "platform/portability/strings.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace portability {
namespace {

TEST(StringsTest, ToLowerTouchesAsciiLettersOnly) {
  EXPECT_EQ(to_lower("GNU C++ 12.2 AVX-512"), "gnu c++ 12.2 avx-512");
  // "Ä" in UTF-8 is 0xC3 0x84; both bytes stay.
  EXPECT_EQ(to_lower("\xC3\x84X"), "\xC3\x84x");
}

TEST(StringsTest, ReplaceAll) {
  struct Row {
    const char* text;
    const char* from;
    const char* to;
    const char* expected;
  };
  const Row rows[] = {
      {"a; b; c", "; ", ";", "a;b;c"},
      {"aaa", "a", "aa", "aaaaaa"},  // inserted text is not rescanned
      {"aaaa", "aa", "b", "bb"},     // matches do not overlap
      {"abc", "", "x", "abc"},
      {"abc", "d", "x", "abc"},
      {"", "a", "b", ""},
  };
  for (const Row& r : rows) EXPECT_EQ(replace_all(r.text, r.from, r.to), r.expected) << r.text;
}

TEST(StringsTest, SplitStringKeepsEmptyPieces) {
  using list = std::vector<ustring8>;
  struct Row {
    const char* text;
    const char* separator;
    list expected;
  };
  const Row rows[] = {
      {"a;b;c", ";", {"a", "b", "c"}},
      {"a;;b;", ";", {"a", "", "b", ""}},
      {"a::b", "::", {"a", "b"}},
      {"abc", ";", {"abc"}},
      {"", ";", {}},
      {"abc", "", {"abc"}},
  };
  for (const Row& r : rows) EXPECT_EQ(split_string(r.text, r.separator), r.expected) << r.text;
}

TEST(StringsTest, StrToInt) {
  struct Row {
    const char* text;
    bool ok;
    std::int64_t value;
  };
  const Row rows[] = {
      {"0", true, 0},
      {"15344", true, 15344},
      {"-7", true, -7},
      {"+7", true, 7},
      {"007", true, 7},
      {"9223372036854775807", true, INT64_MAX},
      {"-9223372036854775808", true, INT64_MIN},
      {"9223372036854775808", false, 0},
      {"", false, 0},
      {"-", false, 0},
      {"+-1", false, 0},
      {" 1", false, 0},
      {"1 ", false, 0},
      {"12a", false, 0},
      {"0x10", false, 0},
  };
  for (const Row& r : rows) {
    std::int64_t value = 99;
    EXPECT_EQ(str_to_int(r.text, value), r.ok) << r.text;
    EXPECT_EQ(value, r.value) << r.text;
  }
}

TEST(StringsTest, StrToIntNarrowRejectsValuesOutsideInt) {
  int value = 99;
  EXPECT_TRUE(str_to_int("-2147483648", value));
  EXPECT_EQ(value, INT32_MIN);
  EXPECT_FALSE(str_to_int("2147483648", value));
  EXPECT_EQ(value, 0);
}

}  // namespace
}  // namespace portability
