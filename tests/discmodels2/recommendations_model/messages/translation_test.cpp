#include "discmodels2/recommendations_model/messages/translation.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace data_models2::issues {
namespace {

using portability::catalog_t;
using portability::variant;

/// Gives translation a catalogue of the test's own for one test.
class TranslationTest : public ::testing::Test {
 protected:
  void use(std::map<std::string, std::string> texts) {
    setCatalogForTesting(std::make_shared<const catalog_t>("test", std::move(texts)));
  }
  void TearDown() override { clearCatalogForTesting(); }
};

TEST_F(TranslationTest, MostSpecialFormWins) {
  struct Row {
    std::map<std::string, std::string> texts;
    const char* suffix;
    const char* expected;
  };
  const Row rows[] = {
      {{{"X_lin_cpp", "lin cpp"}, {"X_cpp", "cpp"}, {"X_lin", "lin"}, {"X", "plain"}}, "_cpp", "lin cpp"},
      {{{"X_cpp", "cpp"}, {"X_lin", "lin"}, {"X", "plain"}}, "_cpp", "cpp"},
      {{{"X_lin", "lin"}, {"X", "plain"}}, "_cpp", "lin"},
      {{{"X", "plain"}, {"X_fortran", "fortran"}}, "_cpp", "plain"},
      {{{"X_fortran", "fortran"}}, "_cpp", "X"},
      {{{"X_lin_fortran", "lin fortran"}}, "_fortran", "lin fortran"},
      {{{"X_lin", "lin"}, {"X", "plain"}}, "", "lin"},
      {{{"X", "plain"}}, "", "plain"},
      {{{"Xstd::sort", "sort"}, {"X", "plain"}}, "std::sort", "sort"},
      {{{"X", "plain"}}, "std::any_of", "plain"},
      {{{"Y", "other"}}, "", "X"},
      {{{"X", ""}}, "", ""},  // an empty text is a text, not a missing one
  };
  for (const Row& r : rows) {
    use(r.texts);
    EXPECT_EQ(translateEx("X", r.suffix), r.expected) << "suffix '" << r.suffix << "'";
  }
}

TEST_F(TranslationTest, TranslateIsTranslateExWithoutSuffixAndNumbersTheArguments) {
  use({{"X_cpp", "cpp"}, {"X_lin", "lin"}, {"three", "%3-%2-%1"}, {"one", "only %1"}, {"gap", "[%1|%2]"}});
  EXPECT_EQ(translate("X"), "lin");
  EXPECT_EQ(translate("three", "a", 2, 0.5), "0.5-2-a");
  EXPECT_EQ(translate("one", "a", "unused", "unused"), "only a");
  // The caller leaves out an argument with a default variant.
  EXPECT_EQ(translateEx("gap", "_cpp", variant(), "b"), "[%1|b]");
  EXPECT_EQ(translate("gap", portability::varg_list{{"%2", "y"}, {"%1", "x"}}), "[x|y]");
}

TEST_F(TranslationTest, MissingCatalogueGivesTheKey) {
  setCatalogForTesting(nullptr);
  EXPECT_EQ(translate("type_conversions_issue_title", "a"), "type_conversions_issue_title");
  EXPECT_EQ(translateEx("type_conversions_rec_smallest_text", getLangSuffix(true)),
            "type_conversions_rec_smallest_text");
}

}  // namespace
}  // namespace data_models2::issues
