#include "platform/model_support/report_xml_format.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace data_models2::report_xml {

namespace {

using foundation::variant_t;

constexpr const char* kHexSuffix = "-hex";
constexpr const char* kHexDigits = "0123456789abcdef";

std::string hexName(const char* name) { return std::string(name) + kHexSuffix; }

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

void putString(pugi::xml_node node, const char* name, const std::string& value) {
  if (isXmlSafe(value)) {
    node.append_attribute(name).set_value(value.c_str());
    return;
  }
  std::string hex;
  hex.reserve(value.size() * 2);
  for (unsigned char c : value) {
    hex.push_back(kHexDigits[c >> 4]);
    hex.push_back(kHexDigits[c & 0x0f]);
  }
  node.append_attribute(hexName(name).c_str()).set_value(hex.c_str());
}

bool getString(const pugi::xml_node& node, const char* name, std::string& value) {
  const pugi::xml_attribute plain = node.attribute(name);
  const pugi::xml_attribute hex = node.attribute(hexName(name).c_str());
  if (plain && !hex) {
    value = plain.value();
    return true;
  }
  if (hex && !plain) return decodeHex(hex.value(), value);
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

bool putVariant(pugi::xml_node node, const variant_t& value) {
  const char* typeName = variant_t::type_name(value.type());
  if (typeName[0] == '\0') return false;
  node.append_attribute(kTypeAttribute).set_value(typeName);
  if (value.is_integer()) {
    const std::string text =
        value.is_signed_integer() ? std::to_string(value.as_i64()) : std::to_string(value.as_u64());
    node.append_attribute(kValueAttribute).set_value(text.c_str());
    return true;
  }
  switch (value.type()) {
    case variant_t::t_f32:
      node.append_attribute(kValueAttribute).set_value(formatFloat(static_cast<float>(value.as_double())).c_str());
      return true;
    case variant_t::t_f64:
      node.append_attribute(kValueAttribute).set_value(formatDouble(value.as_double()).c_str());
      return true;
    case variant_t::t_bool:
      node.append_attribute(kValueAttribute).set_value(value.as_bool() ? "true" : "false");
      return true;
    case variant_t::t_text: putString(node, kValueAttribute, value.text()); return true;
    case variant_t::t_empty: return true;
    default: return false;
  }
}

bool getVariant(const pugi::xml_node& node, variant_t& value) {
  variant_t::type_t type;
  if (!variant_t::type_from_name(node.attribute(kTypeAttribute).value(), type)) return false;
  if (type == variant_t::t_text) {
    std::string text;
    if (!getString(node, kValueAttribute, text)) return false;
    value = variant_t(std::move(text));
    return true;
  }
  // Only text may take the hex form; anything else there is a foreign file.
  if (node.attribute(hexName(kValueAttribute).c_str())) return false;
  const pugi::xml_attribute attribute = node.attribute(kValueAttribute);
  if (type == variant_t::t_empty) {
    if (attribute) return false;
    value = variant_t();
    return true;
  }
  if (!attribute) return false;
  const std::string_view text = attribute.value();

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
