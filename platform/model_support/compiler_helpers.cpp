#include "platform/model_support/compiler_helpers.h"

#include <cctype>
#include <charconv>
#include <cstddef>

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

}  // namespace data_models2::compiler_helpers
