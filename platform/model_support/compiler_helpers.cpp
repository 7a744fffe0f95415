#include "platform/model_support/compiler_helpers.h"

#include <cctype>
#include <charconv>
#include <cstddef>
#include <memory>
#include <mutex>
#include <regex>
#include <string_view>
#include <unordered_map>

#include "platform/portability/assert.h"

namespace data_models2::compiler_helpers {

namespace {

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// Reads a run of digits at `pos`; false when there is none or it overflows.
bool readNumber(std::string_view text, std::size_t& pos, int& out) {
  const char* first = text.data() + pos;
  const char* last = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(first, last, out);
  if (ec != std::errc() || ptr == first) return false;
  pos = static_cast<std::size_t>(ptr - text.data());
  return true;
}

}  // namespace

CompilerVersion parseVersion(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size() && !isDigit(text[pos])) ++pos;
  if (pos == text.size()) return {};

  int parts[3] = {0, 0, 0};
  if (!readNumber(text, pos, parts[0])) return {};
  for (int i = 1; i < 3; ++i) {
    // A dot must be followed by a digit to start the next part: "12." is 12.0.0.
    if (pos + 1 >= text.size() || text[pos] != '.' || !isDigit(text[pos + 1])) break;
    ++pos;
    if (!readNumber(text, pos, parts[i])) return {};
  }
  return CompilerVersion{parts[0], parts[1], parts[2]};
}

namespace {

// Rows of one result share a handful of compiler command lines, and the
// same list is asked about each of them row after row: the answers are kept
// with the list, up to a bound, so that a result with a command line per row
// does not grow the memo without end.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

struct CompiledPatterns {
  static constexpr std::size_t kMaxAnswers = 4096;
  std::vector<std::regex> patterns;
  mutable std::mutex mutex;
  mutable std::unordered_map<std::string, bool, TextHash, std::equal_to<>> answers;
};

// Detectors ask the same few pattern lists for every row of a result;
// compiling a std::regex costs far more than matching one, so each list is
// compiled once and kept for the life of the process.
std::shared_ptr<const CompiledPatterns> compiledPatterns(const std::vector<std::string>& patterns, bool ignoreCase) {
  static std::mutex mutex;
  static std::unordered_map<std::string, std::shared_ptr<const CompiledPatterns>> cache;

  std::string key(1, ignoreCase ? 'i' : 'c');
  for (const std::string& pattern : patterns) {
    key.push_back('\x1f');
    key += pattern;
  }

  std::lock_guard<std::mutex> lock(mutex);
  auto found = cache.find(key);
  if (found != cache.end()) return found->second;

  auto compiled = std::make_shared<CompiledPatterns>();
  auto flags = std::regex::ECMAScript | std::regex::optimize;
  if (ignoreCase) flags |= std::regex::icase;
  for (const std::string& pattern : patterns) {
    try {
      compiled->patterns.emplace_back(pattern, flags);
    } catch (const std::regex_error&) {
      // The patterns are the detectors' own constants, so a bad one is a
      // programming error; it matches nothing rather than ending the scan.
      NIMB_ASSERT_TEXT(false, "hasAnyOfCompilerFlags: invalid pattern");
    }
  }
  return cache.emplace(std::move(key), std::move(compiled)).first->second;
}

bool startsOption(const std::string& word) { return !word.empty() && (word[0] == '-' || word[0] == '/'); }

struct DiagnosticText {
  int number;
  const char* text;
};

// Short texts of the numbers a user is likely to meet, in our words; the
// catalogue carries the documented ones with examples and advice. Sorted by
// number.
constexpr DiagnosticText kDiagnosticTexts[] = {
    {15300, "the loop was vectorized"},
    {15301, "the loop was vectorized as the SIMD directive asked"},
    {15304, "the loop was not vectorized: this version of a multiversioned loop is the scalar one"},
    {15305, "vectorization support: the vector length chosen for the loop"},
    {15306, "the loop was replaced by a call to a memory routine such as memset or memcpy"},
    {15313, "the loop was not vectorized: a data type or operation in it has no vector form on the target"},
    {15315, "the loop was not vectorized: it runs too few iterations for vector code to pay off"},
    {15316, "the loop was not vectorized: it is not an innermost loop"},
    {15319, "the loop was not vectorized: a directive asked to keep it scalar"},
    {15326, "the loop was not vectorized: the floating-point exception model forbids the vector math calls"},
    {15327, "the loop was not vectorized: the floating-point exception model forbids the vector math routine it needs"},
    {15333, "the loop was not vectorized: exception handling around a call prevents it"},
    {15335, "the loop was not vectorized: vectorization is possible but the compiler judged it inefficient"},
    {15336, "the loop was not vectorized: a scalar is assigned under a condition"},
    {15340, "the loop was not vectorized: pragma or directive not honoured for this loop"},
    {15341, "the loop was not vectorized: the loop is not in a form the vectorizer accepts"},
    {15344, "the loop was not vectorized: the compiler assumed a dependency between iterations"},
    {15346, "a dependency was assumed between two memory references of the loop"},
    {15382, "the loop was not vectorized: a call to a function that cannot be vectorized"},
    {15383, "the loop was not vectorized: a call to a function whose vector form is not allowed here"},
    {15398, "the loop was not vectorized: it was turned into a call to memset or memcpy"},
    {15520, "the loop was not vectorized: it can leave early and is not a recognisable search"},
    {15521, "the loop was not vectorized: its control variable could not be identified"},
    {15523, "the loop was not vectorized: the trip count cannot be computed before the loop starts"},
    {15527, "the loop was not vectorized: a call with side effects cannot be vectorized"},
    {15529, "the loop was not vectorized: a volatile variable is accessed in it"},
    {15532, "the loop was not vectorized: compile-time limits stopped the optimization"},
    {15533, "the loop was not vectorized: its structure is too complex for the vectorizer"},
    {15535, "the loop was not vectorized: it contains a switch statement"},
    {15536, "the outer loop was not vectorized: its inner loop is too complex to run per vector"},
    {15541, "the outer loop was not vectorized automatically; an explicit SIMD directive may vectorize it"},
    {15542, "the loop was not vectorized: its inner loop was vectorized instead"},
    {15543, "the loop was not vectorized: a loop with a function call is not a candidate"},
};

}  // namespace

std::vector<std::string> splitCompilerOptions(std::string_view flags) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  bool quoted = false;
  for (char c : flags) {
    if (c == '"') {
      quoted = !quoted;
      inWord = true;
      word.push_back(c);
    } else if (!quoted && std::isspace(static_cast<unsigned char>(c))) {
      if (inWord) words.push_back(std::move(word));
      word.clear();
      inWord = false;
    } else {
      inWord = true;
      word.push_back(c);
    }
  }
  if (inWord) words.push_back(std::move(word));

  std::vector<std::string> options;
  for (std::string& w : words) {
    if (options.empty() || startsOption(w)) {
      options.push_back(std::move(w));
    } else {
      options.back() += ' ';
      options.back() += w;
    }
  }
  return options;
}

bool hasAnyOfCompilerFlags(std::string_view flags, const std::vector<std::string>& patterns, bool ignoreCase) {
  if (flags.empty() || patterns.empty()) return false;
  const std::shared_ptr<const CompiledPatterns> compiled = compiledPatterns(patterns, ignoreCase);
  {
    std::lock_guard<std::mutex> lock(compiled->mutex);
    auto known = compiled->answers.find(flags);
    if (known != compiled->answers.end()) return known->second;
  }
  bool found = false;
  for (const std::string& option : splitCompilerOptions(flags)) {
    for (const std::regex& pattern : compiled->patterns) {
      if (std::regex_search(option, pattern)) {
        found = true;
        break;
      }
    }
    if (found) break;
  }
  std::lock_guard<std::mutex> lock(compiled->mutex);
  if (compiled->answers.size() < CompiledPatterns::kMaxAnswers) compiled->answers.emplace(std::string(flags), found);
  return found;
}

bool getCompilerNonVectorizationMessage(int number, std::string& message) {
  for (const DiagnosticText& entry : kDiagnosticTexts) {
    if (entry.number == number) {
      message = entry.text;
      return true;
    }
  }
  message = "the loop was not vectorized (compiler diagnostic " + std::to_string(number) + ")";
  return false;
}

std::vector<std::pair<std::string, std::string>> getDataTypesEqualTo(int mainVectType) {
  switch (mainVectType) {
    case MainVectInt8: return {{"int8", "Int8"}, {"uint8", "UInt8"}};
    case MainVectInt16: return {{"int16", "Int16"}, {"uint16", "UInt16"}};
    case MainVectInt32: return {{"int32", "Int32"}, {"uint32", "UInt32"}};
    case MainVectInt64: return {{"int64", "Int64"}, {"uint64", "UInt64"}};
    case MainVectFloat32: return {{"float32", "Float32"}};
    case MainVectFloat64: return {{"float64", "Float64"}};
    case MainVectComplex64: return {{"complex64", "Complex64"}};
    case MainVectComplex128: return {{"complex128", "Complex128"}};
    case MainVectFloat16: return {{"float16", "Float16"}};
    default: return {};
  }
}

}  // namespace data_models2::compiler_helpers
