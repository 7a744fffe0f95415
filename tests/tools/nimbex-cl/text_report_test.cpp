#include "tools/nimbex-cl/text_report.h"

#include <gtest/gtest.h>

namespace nimbex_cl {
namespace {

TEST(WrapText, WrapsAtWordsAndKeepsLineBreaks) {
  struct Case {
    std::string text;
    std::size_t indent;
    std::size_t width;
    std::string expected;
  };
  const Case cases[] = {
      {"one two three", 2, 30, "  one two three\n"},
      {std::string(10, 'a') + " " + std::string(10, 'b') + " " + std::string(10, 'c'), 0, 25,
       std::string(10, 'a') + " " + std::string(10, 'b') + "\n" + std::string(10, 'c') + "\n"},
      {"first\n\nsecond", 1, 40, " first\n\n second\n"},
      // A word longer than the line stands alone rather than being cut.
      {"x " + std::string(40, 'y') + " z", 0, 24, "x\n" + std::string(40, 'y') + "\nz\n"},
      // Code keeps its lines and its own indentation, however long.
      {"Do this:\n  for (int i = 0;  i < n; ++i)   // a long comment that runs past the width", 2, 30,
       "  Do this:\n    for (int i = 0;  i < n; ++i)   // a long comment that runs past the width\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(wrapText(c.text, c.indent, c.width), c.expected) << c.text;
}

TEST(ConfidenceName, NamesTheThreeLevels) {
  EXPECT_EQ(confidenceName(1), "low");
  EXPECT_EQ(confidenceName(2), "medium");
  EXPECT_EQ(confidenceName(3), "high");
  EXPECT_EQ(confidenceName(7), "7");
}

}  // namespace
}  // namespace nimbex_cl
