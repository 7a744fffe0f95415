#include "platform/model_support/isa_helpers.h"

#include <cctype>
#include <charconv>
#include <cstddef>

namespace data_models2::isa_helpers {

namespace {

bool isSeparator(char c) { return c == ';' || c == ',' || std::isspace(static_cast<unsigned char>(c)); }

}  // namespace

int getVectorLength(std::string_view text) {
  int best = 0;
  std::size_t pos = 0;
  while (pos < text.size()) {
    while (pos < text.size() && isSeparator(text[pos])) ++pos;
    std::size_t end = pos;
    while (end < text.size() && !isSeparator(text[end])) ++end;
    if (end == pos) break;

    int value = 0;
    const char* first = text.data() + pos;
    const char* last = text.data() + end;
    auto [ptr, ec] = std::from_chars(first, last, value);
    // Only a token that is a number through and through counts: "4x" is not 4.
    if (ec == std::errc() && ptr == last && value > best) best = value;
    pos = end;
  }
  return best > 0 ? best : 1;
}

}  // namespace data_models2::isa_helpers
