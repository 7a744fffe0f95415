#include "platform/model_support/report_xml_format.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace data_models2::report_xml {

namespace {

using foundation::variant_t;

constexpr const char* kHexSuffix = "-hex";
constexpr const char* kHexDigits = "0123456789abcdef";

// True for `name` followed by "-hex"; no string is built for the look-up.
bool isHexName(std::string_view candidate, std::string_view name) {
  const std::string_view suffix = kHexSuffix;
  return candidate.size() == name.size() + suffix.size() && candidate.substr(0, name.size()) == name &&
         candidate.substr(name.size()) == suffix;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool decodeHex(std::string_view text, std::string& out) {
  if (text.size() % 2 != 0) return false;
  std::string bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = hexValue(text[i]);
    const int low = hexValue(text[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  out = std::move(bytes);
  return true;
}

template <class T>
bool parseWhole(std::string_view text, T& value) {
  if (text.empty()) return false;
  T parsed{};
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, parsed);
  if (ec != std::errc() || ptr != end) return false;
  value = parsed;
  return true;
}

template <class T>
std::string formatShortest(T value) {
  char buffer[64];
  auto [ptr, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, ptr) : std::string();
}

template <class T, class V>
bool fitsIn(V value) {
  return value >= static_cast<V>(std::numeric_limits<T>::min()) &&
         value <= static_cast<V>(std::numeric_limits<T>::max());
}

bool signedFits(variant_t::type_t type, std::int64_t value) {
  switch (type) {
    case variant_t::t_i8: return fitsIn<std::int8_t>(value);
    case variant_t::t_i16: return fitsIn<std::int16_t>(value);
    case variant_t::t_i32: return fitsIn<std::int32_t>(value);
    default: return true;
  }
}

bool unsignedFits(variant_t::type_t type, std::uint64_t value) {
  switch (type) {
    case variant_t::t_u8: return fitsIn<std::uint8_t>(value);
    case variant_t::t_u16: return fitsIn<std::uint16_t>(value);
    case variant_t::t_u32: return fitsIn<std::uint32_t>(value);
    default: return true;
  }
}

}  // namespace

bool isXmlSafe(std::string_view text) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    const unsigned char c = s[i];
    if (c < 0x80) {
      if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
      ++i;
      continue;
    }
    std::size_t length;
    std::uint32_t code;
    std::uint32_t minimum;
    if (c >= 0xc2 && c <= 0xdf) {
      length = 2, code = c & 0x1fu, minimum = 0x80;
    } else if (c >= 0xe0 && c <= 0xef) {
      length = 3, code = c & 0x0fu, minimum = 0x800;
    } else if (c >= 0xf0 && c <= 0xf4) {
      length = 4, code = c & 0x07u, minimum = 0x10000;
    } else {
      return false;
    }
    if (n - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const unsigned char follow = s[i + k];
      if ((follow & 0xc0u) != 0x80u) return false;
      code = (code << 6) | (follow & 0x3fu);
    }
    if (code < minimum || code > 0x10ffff) return false;
    if (code >= 0xd800 && code <= 0xdfff) return false;
    if (code == 0xfffe || code == 0xffff) return false;
    i += length;
  }
  return true;
}

const char* Attributes::find(std::string_view name) const {
  if (!pairs_) return nullptr;
  for (const char* const* pair = pairs_; pair[0]; pair += 2) {
    if (name == pair[0]) return pair[1];
  }
  return nullptr;
}

const char* Attributes::findHex(std::string_view name) const {
  if (!pairs_) return nullptr;
  for (const char* const* pair = pairs_; pair[0]; pair += 2) {
    if (isHexName(pair[0], name)) return pair[1];
  }
  return nullptr;
}

void appendEscaped(std::string& out, std::string_view text) {
  std::size_t plain = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != '&' && c != '<' && c != '"') continue;
    out.append(text.data() + plain, i - plain);
    plain = i + 1;
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '"': out += "&quot;"; break;
      default: {
        const char entity[] = {'&', '#', static_cast<char>('0' + c / 10), static_cast<char>('0' + c % 10), ';'};
        out.append(entity, sizeof entity);
      }
    }
  }
  out.append(text.data() + plain, text.size() - plain);
}

void appendString(std::string& out, const char* name, std::string_view value) {
  out += ' ';
  out += name;
  if (isXmlSafe(value)) {
    out += "=\"";
    appendEscaped(out, value);
    out += '"';
    return;
  }
  out += kHexSuffix;
  out += "=\"";
  for (unsigned char c : value) {
    out += kHexDigits[c >> 4];
    out += kHexDigits[c & 0x0f];
  }
  out += '"';
}

bool getString(const Attributes& attributes, const char* name, std::string& value) {
  const char* plain = attributes.find(name);
  const char* hex = attributes.findHex(name);
  if (plain && !hex) {
    value = plain;
    return true;
  }
  if (hex && !plain) return decodeHex(hex, value);
  return false;
}

std::string formatFloat(float value) { return formatShortest(value); }
std::string formatDouble(double value) { return formatShortest(value); }

bool parseFloat(std::string_view text, float& value) { return parseWhole(text, value); }
bool parseDouble(std::string_view text, double& value) { return parseWhole(text, value); }
bool parseU64(std::string_view text, std::uint64_t& value) { return parseWhole(text, value); }
bool parseI64(std::string_view text, std::int64_t& value) { return parseWhole(text, value); }
bool parseUnsigned(std::string_view text, unsigned& value) { return parseWhole(text, value); }
bool parseInt(std::string_view text, int& value) { return parseWhole(text, value); }

bool appendVariant(std::string& out, const variant_t& value) {
  const char* typeName = variant_t::type_name(value.type());
  if (typeName[0] == '\0') return false;
  out += ' ';
  out += kTypeAttribute;
  out += "=\"";
  out += typeName;
  out += '"';
  auto number = [&out](const std::string& text) {
    out += ' ';
    out += kValueAttribute;
    out += "=\"";
    out += text;
    out += '"';
  };
  if (value.is_integer()) {
    number(value.is_signed_integer() ? std::to_string(value.as_i64()) : std::to_string(value.as_u64()));
    return true;
  }
  switch (value.type()) {
    case variant_t::t_f32: number(formatFloat(static_cast<float>(value.as_double()))); return true;
    case variant_t::t_f64: number(formatDouble(value.as_double())); return true;
    case variant_t::t_bool: number(value.as_bool() ? "true" : "false"); return true;
    case variant_t::t_text: appendString(out, kValueAttribute, value.text()); return true;
    case variant_t::t_empty: return true;
    default: return false;
  }
}

bool getVariant(const Attributes& attributes, variant_t& value) {
  variant_t::type_t type;
  if (!variant_t::type_from_name(attributes.value(kTypeAttribute), type)) return false;
  if (type == variant_t::t_text) {
    std::string text;
    if (!getString(attributes, kValueAttribute, text)) return false;
    value = variant_t(std::move(text));
    return true;
  }
  // Only text may take the hex form; anything else there is a foreign file.
  if (attributes.findHex(kValueAttribute)) return false;
  const char* attribute = attributes.find(kValueAttribute);
  if (type == variant_t::t_empty) {
    if (attribute) return false;
    value = variant_t();
    return true;
  }
  if (!attribute) return false;
  const std::string_view text = attribute;

  if (type <= variant_t::last_integer_type) {
    if (variant_t::make_integer(type, 0).is_signed_integer()) {
      std::int64_t parsed;
      if (!parseI64(text, parsed) || !signedFits(type, parsed)) return false;
      value = variant_t::make_integer(type, static_cast<std::uint64_t>(parsed));
    } else {
      std::uint64_t parsed;
      if (!parseU64(text, parsed) || !unsignedFits(type, parsed)) return false;
      value = variant_t::make_integer(type, parsed);
    }
    return true;
  }
  switch (type) {
    case variant_t::t_f32: {
      float parsed;
      if (!parseFloat(text, parsed)) return false;
      value = variant_t(parsed);
      return true;
    }
    case variant_t::t_f64: {
      double parsed;
      if (!parseDouble(text, parsed)) return false;
      value = variant_t(parsed);
      return true;
    }
    case variant_t::t_bool:
      if (text == "true") {
        value = variant_t(true);
      } else if (text == "false") {
        value = variant_t(false);
      } else {
        return false;
      }
      return true;
    default: return false;
  }
}

}  // namespace data_models2::report_xml
