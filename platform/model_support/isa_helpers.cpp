#include "platform/model_support/isa_helpers.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/system_info/system_info.h"

namespace data_models2::isa_helpers {

using system_info::SystemInfo;

namespace {

bool isLengthSeparator(char c) { return c == ';' || c == ',' || std::isspace(static_cast<unsigned char>(c)); }

// The positive whole numbers of a vector length text, in order.
std::vector<int> vectorLengths(std::string_view text) {
  std::vector<int> lengths;
  std::size_t pos = 0;
  while (pos < text.size()) {
    while (pos < text.size() && isLengthSeparator(text[pos])) ++pos;
    std::size_t end = pos;
    while (end < text.size() && !isLengthSeparator(text[end])) ++end;
    if (end == pos) break;

    int value = 0;
    const char* first = text.data() + pos;
    const char* last = text.data() + end;
    auto [ptr, ec] = std::from_chars(first, last, value);
    // Only a token that is a number through and through counts: "4x" is not 4.
    if (ec == std::errc() && ptr == last && value > 0) lengths.push_back(value);
    pos = end;
  }
  return lengths;
}

// Splits a list of names at ';' and ','; blanks around names are dropped.
std::vector<std::string> listEntries(std::string_view text) {
  std::vector<std::string> entries;
  std::string current;
  auto flush = [&] {
    const auto first = current.find_first_not_of(" \t");
    if (first != std::string::npos) {
      const auto last = current.find_last_not_of(" \t");
      entries.push_back(current.substr(first, last - first + 1));
    }
    current.clear();
  };
  for (char c : text) {
    if (c == ';' || c == ',') {
      flush();
    } else {
      current.push_back(c);
    }
  }
  flush();
  return entries;
}

// Lower case with runs of blanks folded into one space.
std::string normaliseTypeName(const std::string& name) {
  std::string out;
  for (char c : name) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (std::isspace(u)) {
      if (!out.empty() && out.back() != ' ') out.push_back(' ');
      continue;
    }
    out.push_back(static_cast<char>(std::tolower(u)));
  }
  if (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

struct TypeWidth {
  std::string_view name;
  int bits;
};

constexpr TypeWidth kTypeWidths[] = {
    {"int8", 8},          {"int16", 16},          {"int32", 32},        {"int64", 64},
    {"uint8", 8},         {"uint16", 16},         {"uint32", 32},       {"uint64", 64},
    {"float16", 16},      {"bfloat16", 16},       {"float32", 32},      {"float64", 64},
    {"complex64", 64},    {"complex128", 128},    {"bool", 8},          {"_bool", 8},
    {"char", 8},          {"short", 16},          {"short int", 16},    {"int", 32},
    {"long", 64},         {"long int", 64},       {"long long", 64},    {"long long int", 64},
    {"float", 32},        {"double", 64},         {"float _complex", 64}, {"double _complex", 128},
    {"integer", 32},      {"real", 32},           {"double precision", 64}, {"complex", 64},
    {"double complex", 128}, {"logical", 32},
};

int plainTypeWidth(std::string_view name) {
  for (const TypeWidth& entry : kTypeWidths) {
    if (entry.name == name) return entry.bits;
  }
  return 0;
}

bool readPositive(std::string_view text, int& value) {
  auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && ptr == text.data() + text.size() && value > 0;
}

// Fortran kinds: "real*8" counts the bytes of the whole value, "real(8)" and
// "real(kind=8)" those of one part, which for complex is half of the value.
int fortranTypeWidth(const std::string& name) {
  const std::size_t star = name.find('*');
  if (star != std::string::npos) {
    int bytes = 0;
    const std::string base = normaliseTypeName(name.substr(0, star));
    if (plainTypeWidth(base) == 0 || !readPositive(std::string_view(name).substr(star + 1), bytes)) return 0;
    return bytes * 8;
  }
  const std::size_t open = name.find('(');
  if (open == std::string::npos || name.back() != ')') return 0;
  const std::string base = normaliseTypeName(name.substr(0, open));
  std::string_view kind = std::string_view(name).substr(open + 1, name.size() - open - 2);
  if (kind.substr(0, 5) == "kind=") kind.remove_prefix(5);
  int bytes = 0;
  if (plainTypeWidth(base) == 0 || !readPositive(kind, bytes)) return 0;
  return base == "complex" ? bytes * 16 : bytes * 8;
}

int typeWidth(const std::string& entry) {
  std::string name = normaliseTypeName(entry);
  for (std::string_view prefix : {"unsigned ", "signed "}) {
    if (name.rfind(prefix, 0) == 0) name.erase(0, prefix.size());
  }
  // A bare "unsigned" or "signed" is an int.
  if (name == "unsigned" || name == "signed") return 32;
  if (const int bits = plainTypeWidth(name)) return bits;
  return fortranTypeWidth(name);
}

}  // namespace

int getVectorLength(std::string_view text) {
  const std::vector<int> lengths = vectorLengths(text);
  return lengths.empty() ? 1 : *std::max_element(lengths.begin(), lengths.end());
}

int getMinVectorWidth(std::string_view vectorLengthText, int elementBits) {
  if (elementBits <= 0) return 0;
  const std::vector<int> lengths = vectorLengths(vectorLengthText);
  const int length = lengths.empty() ? 1 : *std::min_element(lengths.begin(), lengths.end());
  return length * elementBits;
}

int getMaxVectorWidth(std::string_view vectorLengthText, int elementBits) {
  if (elementBits <= 0) return 0;
  return getVectorLength(vectorLengthText) * elementBits;
}

IsaType getIsaType(std::string_view isaName) {
  const std::string name(isaName);
  switch (SystemInfo::getIsaType(name.c_str())) {
    case SystemInfo::IsaSse: return IsaTypeSse;
    case SystemInfo::IsaSse2: return IsaTypeSse2;
    case SystemInfo::IsaSse3: return IsaTypeSse3;
    case SystemInfo::IsaSsse3: return IsaTypeSsse3;
    case SystemInfo::IsaSse41: return IsaTypeSse41;
    case SystemInfo::IsaSse42: return IsaTypeSse42;
    case SystemInfo::IsaAvx: return IsaTypeAvx;
    case SystemInfo::IsaAvx2: return IsaTypeAvx2;
    case SystemInfo::IsaAvx512: return IsaTypeAvx512;
    case SystemInfo::IsaAvx512ManyCore: return IsaTypeAvx512ManyCore;
    case SystemInfo::IsaAvx512Core: return IsaTypeAvx512Core;
    case SystemInfo::IsaAvx512Vnni: return IsaTypeAvx512Vnni;
    case SystemInfo::IsaNone: break;
  }
  return IsaTypeUnknown;
}

int getIsaMinVectorWidth(std::string_view isaName) {
  int narrowest = 0;
  for (const std::string& entry : listEntries(isaName)) {
    const int width = SystemInfo::getVectorLengthOfLevel(SystemInfo::getIsaType(entry.c_str()));
    if (width > 0 && (narrowest == 0 || width < narrowest)) narrowest = width;
  }
  return narrowest;
}

int getTypeMaxWidth(std::string_view typeName) {
  int widest = 0;
  for (const std::string& entry : listEntries(typeName)) widest = std::max(widest, typeWidth(entry));
  return widest;
}

int getMedianSourceTripCount(const data_abstractions2::row_t& row,
                             const data_abstractions2::sptr_t<data_abstractions2::IDataset>& dataset,
                             const data_abstractions2::sptr_t<data_abstractions2::ILoopManager>& loopManager) {
  if (!row || !loopManager) return 0;
  std::int64_t median = 0;
  if (!loopManager->getMedianSourceTripCount(row, dataset, median)) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(median, INT_MIN, INT_MAX));
}

}  // namespace data_models2::isa_helpers
