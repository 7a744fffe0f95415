// Every message key that the library's code can ask for has a text in the
// shipped catalogue, and every text belongs to a key that some code asks for.
// Keys are found in the sources under discmodels2/ by the convention of
// docs/message-catalog.md. Keys built at run time are not seen: list their
// expansions in a k...Keys array, or add the detector's list to kBuiltKeys.

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/vectorization/issue_compiler_diagnostics.h"
#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/portability/message_catalog.h"

namespace data_models2::issues {
namespace {

namespace fs = std::filesystem;

struct found_key_t {
  std::string key;
  bool isStem = false;
  std::string place;  // file:line
};

struct literal_t {
  std::string text;
  std::size_t begin, end;  // offsets of the opening quote and behind the closing one
  unsigned line;
};

bool isIdentChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Blanks out comments, keeping newlines so that offsets and lines stay, and
// collects the string literals of the rest.
std::string stripComments(const std::string& src, std::vector<literal_t>& literals) {
  std::string out = src;
  unsigned line = 1;
  std::size_t i = 0;
  while (i < src.size()) {
    char c = src[i];
    if (c == '\n') {
      ++line;
      ++i;
    } else if (c == '/' && i + 1 < src.size() && src[i + 1] == '/') {
      while (i < src.size() && src[i] != '\n') out[i++] = ' ';
    } else if (c == '/' && i + 1 < src.size() && src[i + 1] == '*') {
      while (i < src.size() && !(src[i] == '*' && i + 1 < src.size() && src[i + 1] == '/')) {
        if (src[i] == '\n') ++line;
        else out[i] = ' ';
        ++i;
      }
      for (int k = 0; k < 2 && i < src.size(); ++k) out[i++] = ' ';
    } else if (c == '"' || c == '\'') {
      std::size_t begin = i++;
      std::string text;
      while (i < src.size() && src[i] != c && src[i] != '\n') {
        if (src[i] == '\\' && i + 1 < src.size()) text.push_back(src[i++]);
        text.push_back(src[i++]);
      }
      ++i;
      if (c == '"') literals.push_back({text, begin, i, line});
    } else {
      ++i;
    }
  }
  return out;
}

std::size_t skipBlanksBack(const std::string& s, std::size_t pos) {  // pos: one past the char to look at
  while (pos > 0 && std::isspace(static_cast<unsigned char>(s[pos - 1]))) --pos;
  return pos;
}

bool isTranslateArgument(const std::string& code, const literal_t& lit) {
  std::size_t after = lit.end;
  while (after < code.size() && std::isspace(static_cast<unsigned char>(code[after]))) ++after;
  if (after >= code.size() || (code[after] != ',' && code[after] != ')')) return false;
  std::size_t pos = skipBlanksBack(code, lit.begin);
  if (pos == 0 || code[pos - 1] != '(') return false;
  pos = skipBlanksBack(code, pos - 1);
  std::size_t start = pos;
  while (start > 0 && isIdentChar(code[start - 1])) --start;
  std::string name = code.substr(start, pos - start);
  return name == "translate" || name == "translateEx";
}

/// The keys that one source text names, by the convention above.
std::vector<found_key_t> keysInSource(const std::string& src, const std::string& file) {
  std::vector<literal_t> literals;
  std::string code = stripComments(src, literals);

  struct span_t {
    std::size_t begin, end;
    bool stems;
  };
  std::vector<span_t> tables;
  static const std::regex tableStart(R"(\bk\w*?(Keys|KeyStems)\s*\[\s*\d*\s*\]\s*=\s*\{)");
  for (std::sregex_iterator it(code.begin(), code.end(), tableStart), end; it != end; ++it) {
    std::size_t open = static_cast<std::size_t>(it->position(0) + it->length(0));
    std::size_t close = code.find('}', open);
    tables.push_back({open, close == std::string::npos ? code.size() : close, (*it)[1] == "KeyStems"});
  }

  static const std::regex wholeKey(R"([a-z][A-Za-z0-9_]*_(title|text))");
  std::vector<found_key_t> keys;
  for (const literal_t& lit : literals) {
    std::string place = file + ":" + std::to_string(lit.line);
    bool inTable = false;
    for (const span_t& t : tables) {
      if (lit.begin >= t.begin && lit.end <= t.end) {
        keys.push_back({lit.text, t.stems, place});
        inTable = true;
      }
    }
    if (inTable) continue;
    if (isTranslateArgument(code, lit) || std::regex_match(lit.text, wholeKey)) {
      keys.push_back({lit.text, false, place});
    }
  }
  return keys;
}

/// True when every caller gets a text: the key itself or its platform form,
/// or both language forms (a key written only per language).
bool hasText(const portability::catalog_t& catalog, const std::string& key) {
  auto has = [&](const std::string& k) { return catalog.has_message(k) || catalog.has_message(k + "_lin"); };
  if (has(key)) return true;
  auto hasLang = [&](bool fortran) {
    const std::string& suffix = getLangSuffix(fortran);
    return catalog.has_message(key + suffix) || catalog.has_message(key + "_lin" + suffix);
  };
  return hasLang(false) && hasLang(true);
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Detectors that build their keys from numbers list them themselves.
std::vector<std::string> (*const kBuiltKeys[])() = {&IssueCompilerDiagnostics::messageKeys};

class CatalogKeysTest : public ::testing::Test {
 protected:
  /// Every key the sources name, stems expanded, with the built ones.
  std::map<std::string, std::string> usedKeys() const {
    std::map<std::string, std::string> used;  // key -> where
    for (const auto& entry : fs::recursive_directory_iterator(root_ / "discmodels2")) {
      if (!entry.is_regular_file()) continue;
      std::string ext = entry.path().extension().string();
      if (ext != ".h" && ext != ".cpp" && ext != ".def" && ext != ".inc") continue;
      std::string file = fs::relative(entry.path(), root_).string();
      for (found_key_t& k : keysInSource(readFile(entry.path()), file)) {
        if (k.isStem) {
          used.emplace(k.key + "_title", k.place);
          used.emplace(k.key + "_text", k.place);
        } else {
          used.emplace(k.key, k.place);
        }
      }
    }
    for (auto list : kBuiltKeys) {
      for (const std::string& key : list()) used.emplace(key, "built");
    }
    return used;
  }

  void SetUp() override {
    const char* dir = std::getenv("NIMBEX_SOURCE_DIR");
    ASSERT_TRUE(dir != nullptr && *dir != '\0') << "NIMBEX_SOURCE_DIR must name the source tree (ctest sets it)";
    root_ = dir;
    portability::catalog_error_t error;
    catalog_ = portability::load_catalog(recommendationsCatalogName,
                                         (root_ / "resources" / "messages" / "data_models.recommendations.po").string(),
                                         error);
    ASSERT_TRUE(catalog_) << error.to_ustring();
  }

  fs::path root_;
  std::shared_ptr<const portability::catalog_t> catalog_;
};

TEST(CatalogKeyScannerTest, FindsKeysByConvention) {
  struct Row {
    const char* source;
    std::vector<std::string> keys;  // "*" marks a stem
  };
  const Row rows[] = {
      {R"(translate("cdi_issue_title"))", {"cdi_issue_title"}},
      {R"(translateEx("need_for_simd_disclaimer", getLangSuffix(f), x))", {"need_for_simd_disclaimer"}},
      {R"(translate ( "found_pattern_table_row" , a, b, c))", {"found_pattern_table_row"}},
      {R"(auto t = "fma_issue_text";)", {"fma_issue_text"}},
      // Built keys are not whole: neither the prefix nor the suffix counts.
      {R"(translate("pattern_name_" + code); translate(stem + "_title");)", {}},
      {R"(retranslate("other"); f("not_a_key"); g("Title_text");)", {}},
      {R"(// translate("commented_out_title")
          /* "also_commented_text" */ x = "live_title";)",
       {"live_title"}},
      {R"(constexpr const char* kTraitKeys[] = {"masked_stores_trait_text", "x"};)", {"masked_stores_trait_text", "x"}},
      {R"(static constexpr const char* kRecKeyStems[3] = {"add_div", "add_sqrt"};)", {"*add_div", "*add_sqrt"}},
      {R"(const char* s = "say \"translate(\"");)", {}},
  };
  for (const Row& r : rows) {
    std::vector<std::string> got;
    for (const found_key_t& k : keysInSource(r.source, "f.cpp")) got.push_back((k.isStem ? "*" : "") + k.key);
    EXPECT_EQ(got, r.keys) << r.source;
  }
}

TEST(CatalogKeyScannerTest, KeyWithOnlyLanguageFormsNeedsBoth) {
  portability::catalog_t catalog("t", {{"both_cpp", "c"}, {"both_lin_fortran", "f"}, {"only_fortran", "f"},
                                       {"plain_lin", "p"}});
  EXPECT_TRUE(hasText(catalog, "both"));
  EXPECT_FALSE(hasText(catalog, "only"));
  EXPECT_TRUE(hasText(catalog, "plain"));
  EXPECT_FALSE(hasText(catalog, "absent"));
}

TEST_F(CatalogKeysTest, EveryKeyInTheLibraryHasAText) {
  for (const auto& [key, place] : usedKeys()) {
    EXPECT_TRUE(hasText(*catalog_, key)) << place << ": no text for key " << key;
  }
}

TEST_F(CatalogKeysTest, EveryTextBelongsToAKeyTheLibraryAsksFor) {
  const std::map<std::string, std::string> used = usedKeys();
  auto isUsed = [&](const std::string& key) {
    for (const char* form : {"", "_lin", "_cpp", "_fortran", "_lin_cpp", "_lin_fortran"}) {
      const std::string suffix = form;
      if (key.size() > suffix.size() && key.compare(key.size() - suffix.size(), suffix.size(), suffix) == 0 &&
          used.count(key.substr(0, key.size() - suffix.size()))) {
        return true;
      }
    }
    return false;
  };
  for (const std::string& key : catalog_->keys()) {
    if (key.empty()) continue;  // the header entry
    EXPECT_TRUE(isUsed(key)) << "no code asks for the text of " << key;
  }
}

TEST_F(CatalogKeysTest, EveryIssueAndRecommendationIdHasTexts) {
  static const std::regex issue(R"re(NIMB_ISSUE\(\s*\d+\s*,\s*\w+\s*,\s*"([^"]+)"\s*\))re");
  static const std::regex recommendation(R"re(NIMB_RECOMMENDATION\(\s*\d+\s*,\s*\w+\s*,\s*"([^"]+)"\s*\))re");
  std::string issues = readFile(root_ / "data_abstractions2" / "issue_ids.def");
  std::string recommendations = readFile(root_ / "data_abstractions2" / "recommendation_ids.def");
  unsigned seen = 0;
  for (std::sregex_iterator it(issues.begin(), issues.end(), issue), end; it != end; ++it, ++seen) {
    std::string id = (*it)[1];
    // Issue titles are the id with "_title", or the bare id where the id is
    // itself the title key.
    EXPECT_TRUE(hasText(*catalog_, id + "_title") || hasText(*catalog_, id)) << "issue " << id;
  }
  std::vector<std::string> all = catalog_->keys();
  for (std::sregex_iterator it(recommendations.begin(), recommendations.end(), recommendation), end; it != end;
       ++it, ++seen) {
    std::string id = (*it)[1];
    // A few recommendations share keys or use the stem alone; at the least
    // some text must be written under the stem.
    bool any = false;
    for (const std::string& key : all) any = any || key.rfind(id, 0) == 0;
    EXPECT_TRUE(any) << "recommendation " << id;
  }
  EXPECT_GT(seen, 90u) << "the id tables were not read";
}

TEST_F(CatalogKeysTest, TextsUseOnlyTheThreeNumberedArguments) {
  static const std::regex placeholder(R"(%(%|\d+))");
  for (const std::string& key : catalog_->keys()) {
    const std::string text = catalog_->message(key).text();
    for (std::sregex_iterator it(text.begin(), text.end(), placeholder), end; it != end; ++it) {
      std::string p = (*it)[0];
      EXPECT_TRUE(p == "%%" || p == "%1" || p == "%2" || p == "%3") << key << " uses " << p;
    }
  }
}

}  // namespace
}  // namespace data_models2::issues
