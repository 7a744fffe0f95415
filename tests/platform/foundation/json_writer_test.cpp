#include "platform/foundation/json_file.h"
#include "platform/foundation/json_writer.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace foundation {
namespace {

TEST(JsonWriterTest, StringsEscapeWhatJsonRequiresAndKeepTheRest) {
  const struct {
    std::string text;
    std::string json;
  } cases[] = {
      {"", R"("")"},
      {"plain / text", R"("plain / text")"},
      {"quote \" backslash \\", R"("quote \" backslash \\")"},
      {"line\nreturn\rtab\t", R"("line\nreturn\rtab\t")"},
      {std::string("nul \0 bell \x07 unit \x1f", 19), R"("nul \u0000 bell \u0007 unit \u001f")"},
      {"delete \x7f", "\"delete \x7f\""},
      {"UTF-8 \xc3\xa9", "\"UTF-8 \xc3\xa9\""},
      // Checking the encoding is the caller's business.
      {"not UTF-8 \xff", "\"not UTF-8 \xff\""},
  };
  for (const auto& c : cases) {
    std::string out = "x";
    append_json_string(out, c.text);
    EXPECT_EQ(out, "x" + c.json);
  }
}

TEST(JsonWriterTest, RealsAreShortestAndStayReals) {
  const struct {
    double value;
    const char* json;
  } cases[] = {
      {0.1, "0.1"},
      {12.0, "12.0"},
      {0.0, "0.0"},
      {-0.0, "-0.0"},
      {1e20, "1e+20"},
      {-1.7976931348623157e308, "-1.7976931348623157e+308"},
      {4.9e-324, "5e-324"},
      {2.5e-5, "2.5e-05"},
  };
  for (const auto& c : cases) {
    std::string out;
    EXPECT_TRUE(append_json_real(out, c.value));
    EXPECT_EQ(out, c.json);
  }
}

TEST(JsonWriterTest, RealsReadBackBitForBit) {
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 20000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    std::string out;
    ASSERT_TRUE(append_json_real(out, value));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(std::strtod(out.c_str(), nullptr)), std::bit_cast<std::uint64_t>(value))
        << out;
    EXPECT_NE(out.find_first_of(".e"), std::string::npos) << out;
  }
}

TEST(JsonWriterTest, NonFiniteRealsAreRefusedOrNull) {
  for (double value : {std::nan(""), std::numeric_limits<double>::infinity(),
                       -std::numeric_limits<double>::infinity()}) {
    std::string refused = "x";
    EXPECT_FALSE(append_json_real(refused, value));
    EXPECT_EQ(refused, "x");
    std::string nulled = "x";
    EXPECT_TRUE(append_json_real(nulled, value, json_non_finite_t::as_null));
    EXPECT_EQ(nulled, "xnull");
  }
}

TEST(JsonWriterTest, TypedValuesUseTheirNotation) {
  const struct {
    variant_t value;
    const char* json;
  } cases[] = {
      {variant_t(std::int64_t{-5}), "-5"},
      {variant_t(2.0), "2.0"},
      {variant_t(true), "true"},
      {variant_t("a\"b"), R"("a\"b")"},
      {variant_t(std::int8_t{-128}), R"({"i8": -128})"},
      {variant_t(std::uint16_t{65535}), R"({"u16": 65535})"},
      {variant_t(std::int32_t{-1}), R"({"i32": -1})"},
      {variant_t(std::uint32_t{3}), R"({"u32": 3})"},
      {variant_t(std::numeric_limits<std::uint64_t>::max()), R"({"u64": 18446744073709551615})"},
      // The kind is named, so a whole f32 needs no ".0".
      {variant_t(3.0f), R"({"f32": 3})"},
      {variant_t(0.1f), R"({"f32": 0.1})"},
      // The one float whose shortest digits, read through a double, round
      // to its neighbour.
      {variant_t(std::bit_cast<float>(0x15ae43fdu)), R"({"f32": 7.03853069e-26})"},
  };
  for (const auto& c : cases) {
    std::string out;
    EXPECT_TRUE(append_json_typed_value(out, c.value)) << c.json;
    EXPECT_EQ(out, c.json);
  }
}

TEST(JsonWriterTest, TypedValuesJsonCannotHoldAppendNothing) {
  const std::vector<variant_t> refused = {variant_t(), variant_t(std::nan("")),
                                          variant_t(-std::numeric_limits<double>::infinity()),
                                          variant_t(std::numeric_limits<float>::infinity())};
  for (const variant_t& value : refused) {
    std::string out = "x";
    EXPECT_FALSE(append_json_typed_value(out, value)) << value.to_string();
    EXPECT_EQ(out, "x");
  }
}

TEST(JsonSyntaxErrorPlace, PointsAtTheFirstFault) {
  struct Case {
    std::string text;
    std::string place;  // empty: the structure is sound
  };
  const Case cases[] = {
      {R"({"a": [1, 2.5e-3, -0, "x\"\u00e9", true, null, {}]})", ""},
      {"\xEF\xBB\xBF[1]", ""},
      {"", "line 1, column 1"},
      {"{\"a\": 1,}", "line 1, column 9"},
      {"{\n  \"a\": 01\n}", "line 2, column 9"},
      {"[1 2]", "line 1, column 4"},
      {"[\"tab\there\"]", "line 1, column 6"},
      {"[\"\\q\"]", "line 1, column 4"},
      {"{\"a\" 1}", "line 1, column 6"},
      {"[1] [2]", "line 1, column 5"},
      {"[[[[", "line 1, column 5"},
      {"[tru]", "line 1, column 2"},
      {std::string(100000, '[') + std::string(100000, ']'), ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(json_syntax_error_place(c.text), c.place) << c.text.substr(0, 40);
  }
}

TEST(EscapeControlCharacters, OnlyControlsChange) {
  EXPECT_EQ(escape_control_characters("a\x1b[31m\n\t\"b\"\\ é"), "a\\u001b[31m\\n\\t\"b\"\\ é");
}

}  // namespace
}  // namespace foundation
