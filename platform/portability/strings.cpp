#include "platform/portability/strings.h"

#include <charconv>
#include <limits>

namespace portability {

ustring8 to_lower(std::string_view text) {
  ustring8 out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

ustring8 replace_all(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return ustring8(text);
  ustring8 out;
  out.reserve(text.size());
  std::size_t start = 0;
  for (std::size_t hit = text.find(from); hit != std::string_view::npos; hit = text.find(from, start)) {
    out.append(text, start, hit - start);
    out.append(to);
    start = hit + from.size();
  }
  out.append(text, start, std::string_view::npos);
  return out;
}

std::vector<ustring8> split_string(std::string_view text, std::string_view separator) {
  std::vector<ustring8> pieces;
  if (text.empty()) return pieces;
  if (separator.empty()) {
    pieces.emplace_back(text);
    return pieces;
  }
  std::size_t start = 0;
  for (;;) {
    std::size_t hit = text.find(separator, start);
    if (hit == std::string_view::npos) {
      pieces.emplace_back(text.substr(start));
      return pieces;
    }
    pieces.emplace_back(text.substr(start, hit - start));
    start = hit + separator.size();
  }
}

bool str_to_int(std::string_view text, std::int64_t& value) {
  value = 0;
  // from_chars takes no '+', and it would accept a lone '-' prefix on its
  // own terms; strip the sign ourselves so that both are handled alike.
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty() || text.front() < '0' || text.front() > '9') return false;
  std::uint64_t magnitude = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), magnitude, 10);
  if (ec != std::errc() || end != text.data() + text.size()) return false;
  constexpr std::uint64_t max_positive = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (negative) {
    if (magnitude > max_positive + 1) return false;
    // Negate in unsigned arithmetic: -INT64_MIN does not fit a signed value.
    value = static_cast<std::int64_t>(0 - magnitude);
  } else {
    if (magnitude > max_positive) return false;
    value = static_cast<std::int64_t>(magnitude);
  }
  return true;
}

bool str_to_int(std::string_view text, int& value) {
  value = 0;
  std::int64_t wide = 0;
  if (!str_to_int(text, wide)) return false;
  if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) return false;
  value = static_cast<int>(wide);
  return true;
}

}  // namespace portability
