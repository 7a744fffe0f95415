#include "platform/foundation/variant.h"

#include <cstdio>

namespace foundation {

namespace {

std::uint64_t truncate_to(variant_t::type_t type, std::uint64_t raw) {
  switch (type) {
    case variant_t::t_i8: return static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int8_t>(raw)));
    case variant_t::t_u8: return static_cast<std::uint8_t>(raw);
    case variant_t::t_i16: return static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int16_t>(raw)));
    case variant_t::t_u16: return static_cast<std::uint16_t>(raw);
    case variant_t::t_i32: return static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int32_t>(raw)));
    case variant_t::t_u32: return static_cast<std::uint32_t>(raw);
    default: return raw;
  }
}

constexpr const char* kTypeNames[] = {"i8", "u8", "i16", "u16", "i32", "u32", "i64", "u64", "",
                                      "",   "f32", "f64", "bool", "text", "empty"};

}  // namespace

variant_t variant_t::make_integer(type_t type, std::uint64_t raw) {
  variant_t v;
  if (type > last_integer_type || kTypeNames[type][0] == '\0') type = t_i64;
  v.type_ = type;
  v.bits_ = truncate_to(type, raw);
  return v;
}

std::int64_t variant_t::as_i64() const {
  if (is_integer() || is_bool()) return static_cast<std::int64_t>(bits_);
  if (is_floating()) return static_cast<std::int64_t>(real_);
  return 0;
}

std::uint64_t variant_t::as_u64() const {
  if (is_integer() || is_bool()) return bits_;
  if (is_floating()) return real_ < 0 ? 0 : static_cast<std::uint64_t>(real_);
  return 0;
}

double variant_t::as_double() const {
  if (is_floating()) return real_;
  if (is_integer()) {
    return is_signed_integer() ? static_cast<double>(static_cast<std::int64_t>(bits_)) : static_cast<double>(bits_);
  }
  if (is_bool()) return bits_ ? 1.0 : 0.0;
  return 0.0;
}

bool variant_t::as_bool() const {
  if (is_integer() || is_bool()) return bits_ != 0;
  if (is_floating()) return real_ != 0.0;
  return false;
}

const char* variant_t::type_name(type_t type) {
  return type <= t_empty ? kTypeNames[type] : "";
}

bool variant_t::type_from_name(std::string_view name, type_t& out) {
  for (unsigned i = 0; i <= t_empty; ++i) {
    if (kTypeNames[i][0] != '\0' && name == kTypeNames[i]) {
      out = static_cast<type_t>(i);
      return true;
    }
  }
  return false;
}

std::string variant_t::to_string() const {
  if (is_integer()) {
    return is_signed_integer() ? std::to_string(static_cast<std::int64_t>(bits_)) : std::to_string(bits_);
  }
  switch (type_) {
    case t_bool: return bits_ ? "true" : "false";
    case t_f32:
    case t_f64: {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%.17g", real_);
      return buf;
    }
    case t_text: return text_;
    default: return std::string();
  }
}

bool operator==(const variant_t& a, const variant_t& b) {
  if (a.type_ != b.type_) return false;
  if (a.is_floating()) return a.real_ == b.real_;
  if (a.is_text()) return a.text_ == b.text_;
  if (a.empty()) return true;
  return a.bits_ == b.bits_;
}

}  // namespace foundation
