#include "platform/foundation/json_writer.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace foundation {

namespace {

/// The shortest digits of an f32 that read back as the same float. No ".0":
/// the value is always written inside `{"f32": ...}`, which names its kind.
void appendFloat(std::string& out, float value) {
  char buffer[40];
  char* end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  // Readers go through a double; the shortest float digits can lie so near
  // the edge of the float's interval that the second rounding misses. Nine
  // digits never do.
  if (static_cast<float>(std::strtod(std::string(buffer, end).c_str(), nullptr)) != value) {
    end = buffer + std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
  }
  out.append(buffer, end);
}

}  // namespace

void append_json_string(std::string& out, std::string_view text) {
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

bool append_json_real(std::string& out, double value, json_non_finite_t non_finite) {
  if (!std::isfinite(value)) {
    if (non_finite == json_non_finite_t::refuse) return false;
    out += "null";
    return true;
  }
  char buffer[40];
  const char* end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  const std::string_view digits(buffer, static_cast<std::size_t>(end - buffer));
  out += digits;
  // Keeps the number a real for readers that tell the two apart.
  if (digits.find_first_of(".e") == std::string_view::npos) out += ".0";
  return true;
}

bool append_json_typed_value(std::string& out, const variant_t& value) {
  switch (value.type()) {
    case variant_t::t_i64: out += std::to_string(value.as_i64()); return true;
    case variant_t::t_f64: return append_json_real(out, value.as_double());
    case variant_t::t_bool: out += value.as_bool() ? "true" : "false"; return true;
    case variant_t::t_text: append_json_string(out, value.text()); return true;
    case variant_t::t_empty: return false;
    default: break;
  }
  std::string body;
  if (value.is_integer()) {
    body = value.is_signed_integer() ? std::to_string(value.as_i64()) : std::to_string(value.as_u64());
  } else if (value.type() == variant_t::t_f32) {
    if (!std::isfinite(value.as_double())) return false;
    appendFloat(body, static_cast<float>(value.as_double()));
  } else {
    return false;
  }
  out += "{\"";
  out += variant_t::type_name(value.type());
  out += "\": ";
  out += body;
  out += '}';
  return true;
}

}  // namespace foundation
