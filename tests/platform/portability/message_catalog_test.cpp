#include "platform/portability/message_catalog.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace portability {
namespace {

TEST(MessageCatalogTest, PlaceholderSubstitution) {
  const varg_list args{{"%1", "x"}, {"%2", 42}, {"%3", variant()}, {"%12", "twelve"}};
  struct Row {
    const char* text;
    const char* expected;
  };
  const Row rows[] = {
      {"%1 and %2", "x and 42"},
      {"%2%1", "42x"},
      {"%%1 is literal", "%1 is literal"},
      {"100%% sure", "100% sure"},
      {"50% of the time", "50% of the time"},
      {"ends with %", "ends with %"},
      {"%3 is nil", "%3 is nil"},          // a nil argument counts as not given
      {"%4 is unknown", "%4 is unknown"},  // kept, so the gap is visible
      {"%12 %123", "twelve %123"},         // the whole digit run names the argument
      {"%1st", "xst"},
      {"no placeholders", "no placeholders"},
      {"", ""},
  };
  for (const Row& r : rows) EXPECT_EQ(message_t(r.text).as_ustring(args), r.expected) << r.text;
}

TEST(MessageCatalogTest, SubstitutedValuesAreNotRescanned) {
  const varg_list args{{"%1", "%2"}, {"%2", "no"}};
  EXPECT_EQ(message_t("[%1]").as_ustring(args), "[%2]");
}

TEST(MessageCatalogTest, ValuesAsText) {
  struct Row {
    variant value;
    const char* expected;
  };
  const Row rows[] = {
      {variant(), ""},
      {variant(-5), "-5"},
      {variant(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {variant(0.1), "0.1"},
      {variant(12.5f), "12.5"},
      {variant(1e-5), "1e-05"},
      {variant("text"), "text"},
      {variant(ustring8("std")), "std"},
  };
  for (const Row& r : rows) EXPECT_EQ(r.value.as_ustring(), r.expected) << r.expected;
}

TEST(MessageCatalogTest, VargListIsFixedLength) {
  varg_list list;
  for (std::size_t i = 0; i < varg_list::max_size; ++i) EXPECT_TRUE(list.push_back({"%1", 1}));
  EXPECT_FALSE(list.push_back({"%9", 9}));
  EXPECT_EQ(list.size(), varg_list::max_size);
  EXPECT_TRUE(varg_list()[varg_list::max_size - 1].value.is_nil());
}

constexpr const char* kGoodCatalog =
    "\xEF\xBB\xBF"
    "# Header entry: metadata only, not a message.\r\n"
    "msgid \"\"\r\n"
    "msgstr \"\"\r\n"
    "\"Content-Type: text/plain; charset=UTF-8\\n\"\r\n"
    "\r\n"
    "#. %1: a variable name\n"
    "msgctxt \"plain_text\"\n"
    "msgid \"English %1\"\n"
    "msgstr \"\"\n"
    "\n"
    "msgctxt \"joined\"\n"
    "msgid \"\"\n"
    "\"first line\\n\"\n"
    "  \"second \\\"quoted\\\"\\t\\\\\"\n"
    "msgstr \"\"\n"
    "msgctxt \"translated\"\n"
    "msgid \"English\"\n"
    "msgstr \"Englisch\"\n"
    "\n"
    "#, c-format, fuzzy\n"
    "msgctxt \"fuzzy\"\n"
    "msgid \"Source text\"\n"
    "msgstr \"Doubtful translation\"\n"
    "\n"
    "#~ msgctxt \"obsolete\"\n"
    "#~ msgid \"Gone\"\n"
    "#~ msgstr \"\"\n"
    "msgctxt \"utf8\"\n"
    "msgid \"caf\xC3\xA9\"\n"
    "msgstr \"\"";  // no newline at the end

TEST(MessageCatalogTest, ParsesPoEntries) {
  catalog_error_t error;
  auto catalog = parse_catalog("sample", kGoodCatalog, "sample.po", error);
  ASSERT_TRUE(catalog) << error.to_ustring();
  EXPECT_EQ(catalog->name(), "sample");
  EXPECT_EQ(catalog->keys(), (std::vector<ustring8>{"fuzzy", "joined", "plain_text", "translated", "utf8"}));
  EXPECT_EQ(catalog->message("plain_text").as_ustring({{"%1", "v"}}), "English v");
  EXPECT_EQ(catalog->message("joined").text(), "first line\nsecond \"quoted\"\t\\");
  EXPECT_EQ(catalog->message("translated").text(), "Englisch");
  EXPECT_EQ(catalog->message("fuzzy").text(), "Source text");
  EXPECT_EQ(catalog->message("utf8").text(), "caf\xC3\xA9");
  EXPECT_FALSE(catalog->has_message("obsolete"));
  EXPECT_FALSE(catalog->has_message(""));
  EXPECT_EQ(catalog->message("missing").text(), "");
}

TEST(MessageCatalogTest, EmptyFileIsAnEmptyCatalogue) {
  catalog_error_t error;
  auto catalog = parse_catalog("empty", "", "empty.po", error);
  ASSERT_TRUE(catalog);
  EXPECT_EQ(catalog->size(), 0u);
}

TEST(MessageCatalogTest, BrokenCataloguesNameTheLine) {
  struct Row {
    const char* text;
    unsigned line;
    const char* reason;
  };
  const Row rows[] = {
      {"msgctxt \"a\"\nmsgid \"unterminated\nmsgstr \"\"\n", 2, "no closing quote"},
      {"msgctxt \"a\"\nmsgid \"x\"\n", 1, "no msgstr"},
      {"msgctxt \"a\"\nmsgid \"x\"\nmsgstr \"\"\nmsgctxt \"a\"\nmsgid \"y\"\nmsgstr \"\"\n", 4,
       "duplicate key 'a', first at line 1"},
      {"msgid \"x\"\nmsgstr \"\"\n", 1, "no msgctxt"},
      {"msgctxt \"a b\"\nmsgid \"x\"\nmsgstr \"\"\n", 1, "blank"},
      {"msgctxt \"\"\nmsgid \"x\"\nmsgstr \"\"\n", 1, "empty key"},
      {"msgctxt \"a\"\nmsgid \"x\"\nmsgid_plural \"xs\"\n", 3, "plural"},
      {"msgctxt \"a\"\nmsgid \"x\"\nmsgstr[0] \"\"\n", 3, "plural"},
      {"\n\nmsgtext \"a\"\n", 3, "unknown keyword 'msgtext'"},
      {"msgctxt a\n", 1, "quoted string"},
      {"msgctxt \"a\" trailing\n", 1, "after the closing quote"},
      {"msgctxt \"a\"\nmsgid \"\\q\"\nmsgstr \"\"\n", 2, "unknown escape"},
      {"\"orphan\"\n", 1, "without a keyword"},
      {"msgstr \"x\"\n", 1, "without a msgid"},
      {"msgctxt \"a\"\n# note\nmsgid \"x\"\nmsgstr \"\"\n", 2, "comment inside an entry"},
      {"msgctxt \"a\"\nmsgctxt \"b\"\n", 2, "msgctxt inside an entry"},
      {"msgctxt \"a\"\nmsgid \"caf\xE9\"\nmsgstr \"\"\n", 2, "UTF-8"},
  };
  for (const Row& r : rows) {
    catalog_error_t error;
    EXPECT_FALSE(parse_catalog("broken", r.text, "broken.po", error)) << r.text;
    EXPECT_EQ(error.file, "broken.po");
    EXPECT_EQ(error.line, r.line) << r.text;
    EXPECT_NE(error.reason.find(r.reason), ustring8::npos) << r.text << " -> " << error.reason;
  }
}

TEST(MessageCatalogTest, ErrorTextNamesFileAndLine) {
  EXPECT_EQ((catalog_error_t{"m.po", 12, "bad"}).to_ustring(), "m.po:12: bad");
  EXPECT_EQ((catalog_error_t{"m.po", 0, "cannot be opened"}).to_ustring(), "m.po: cannot be opened");
}

TEST(MessageCatalogTest, UnreadableFileIsAnErrorOfTheFile) {
  catalog_error_t error;
  EXPECT_FALSE(load_catalog("x", "/nonexistent/x.po", error));
  EXPECT_EQ(error.to_ustring(), "/nonexistent/x.po: cannot be opened");
}

}  // namespace
}  // namespace portability
