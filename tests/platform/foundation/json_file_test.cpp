#include "platform/foundation/json_file.h"

#include <string>

#include <gtest/gtest.h>

namespace foundation {
namespace {

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
