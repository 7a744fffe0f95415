#include "platform/foundation/json_reader.h"

#include <cmath>
#include <limits>
#include <vector>

#include "platform/foundation/json_file.h"

namespace foundation {

using simdjson::dom::element_type;

std::string JsonPath::toString() const {
  std::vector<const JsonPath*> chain;
  for (const JsonPath* p = this; p && p->parent_; p = p->parent_) chain.push_back(p);
  if (chain.empty()) return "/";
  std::string out;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    out.push_back('/');
    if ((*it)->isIndex_) {
      out += std::to_string((*it)->index_);
      continue;
    }
    for (char c : (*it)->key_) {
      if (c == '~') {
        out += "~0";
      } else if (c == '/') {
        out += "~1";
      } else {
        out.push_back(c);
      }
    }
  }
  return out;
}

// Keys and values of the input reach the message as they are, but for
// control characters: a key holding ESC must not drive the user's terminal.
bool JsonReader::fail(const JsonPath& at, std::string_view message) {
  if (error_.empty()) {
    error_ = foundation::escape_control_characters(fileName_ + ": " + at.toString() + ": " + std::string(message));
  }
  return false;
}

bool JsonReader::loadFile(const std::string& path, simdjson::padded_string& text) {
  std::string error;
  if (!check_readable_file(path, error)) {
    if (error_.empty()) error_ = escape_control_characters(error);
    return false;
  }
  if (simdjson::padded_string::load(path).get(text) != simdjson::SUCCESS) return failWhole("cannot read the file");
  // Editors may put a byte order mark in front; the parser refuses it.
  if (const std::size_t bom = utf8_bom_length(std::string_view(text.data(), text.size()))) {
    text = simdjson::padded_string(text.data() + bom, text.size() - bom);
  }
  return true;
}

bool JsonReader::parse(simdjson::dom::parser& parser, const simdjson::padded_string& text, element& root) {
  if (auto code = parser.parse(text).get(root); code != simdjson::SUCCESS) {
    // The parser tells what, not where; in a file of a gigabyte the where
    // is what the user needs.
    const std::string place = json_syntax_error_place(std::string_view(text.data(), text.size()));
    return failWhole("not valid JSON" + (place.empty() ? std::string() : " at " + place) + ": " +
                     simdjson::error_message(code));
  }
  return true;
}

bool JsonReader::parseInto(simdjson::dom::document& document, const simdjson::padded_string& text, element& root) {
  simdjson::dom::parser parser;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  // The padded string carries the padding the parser reads past the end.
  if (auto code = parser.parse_into_document(document, bytes, text.size(), false).get(root);
      code != simdjson::SUCCESS) {
    const std::string place = json_syntax_error_place(std::string_view(text.data(), text.size()));
    return failWhole("not valid JSON" + (place.empty() ? std::string() : " at " + place) + ": " +
                     simdjson::error_message(code));
  }
  return true;
}

bool JsonReader::failWhole(std::string_view message) {
  if (error_.empty()) error_ = foundation::escape_control_characters(fileName_ + ": " + std::string(message));
  return false;
}

std::string_view JsonReader::describe(const element& value) {
  switch (value.type()) {
    case element_type::ARRAY: return "an array";
    case element_type::OBJECT: return "an object";
    case element_type::INT64:
    case element_type::UINT64: return "an integer";
    case element_type::DOUBLE: return "a number";
    case element_type::STRING: return "a string";
    case element_type::BOOL: return "a boolean";
    case element_type::NULL_VALUE: return "null";
  }
  return "an unknown value";
}

namespace {

std::string expected(std::string_view what, const simdjson::dom::element& got) {
  return "expected " + std::string(what) + ", got " + std::string(JsonReader::describe(got));
}

}  // namespace

bool JsonReader::readObject(const element& value, const JsonPath& at, simdjson::dom::object& out) {
  if (value.get_object().get(out) != simdjson::SUCCESS) return fail(at, expected("an object", value));
  return true;
}

bool JsonReader::readArray(const element& value, const JsonPath& at, simdjson::dom::array& out) {
  if (value.get_array().get(out) != simdjson::SUCCESS) return fail(at, expected("an array", value));
  return true;
}

bool JsonReader::readString(const element& value, const JsonPath& at, std::string_view& out) {
  if (value.get_string().get(out) != simdjson::SUCCESS) return fail(at, expected("a string", value));
  return true;
}

bool JsonReader::readBool(const element& value, const JsonPath& at, bool& out) {
  if (value.get_bool().get(out) != simdjson::SUCCESS) return fail(at, expected("true or false", value));
  return true;
}

bool JsonReader::readNumber(const element& value, const JsonPath& at, double& out) {
  if (!value.is_number() || value.get_double().get(out) != simdjson::SUCCESS) {
    return fail(at, expected("a number", value));
  }
  return true;
}

bool JsonReader::readInteger(const element& value, const JsonPath& at, std::int64_t min, std::int64_t max,
                             std::int64_t& out) {
  if (value.type() == element_type::UINT64) {
    return fail(at, "integer " + std::to_string(value.get_uint64().value_unsafe()) + " is out of range");
  }
  if (value.get_int64().get(out) != simdjson::SUCCESS) return fail(at, expected("an integer", value));
  if (out < min || out > max) return fail(at, "integer " + std::to_string(out) + " is out of range");
  return true;
}

bool JsonReader::readInt(const element& value, const JsonPath& at, int& out) {
  std::int64_t wide = 0;
  if (!readInteger(value, at, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), wide)) return false;
  out = static_cast<int>(wide);
  return true;
}

bool JsonReader::readWord(const element& value, const JsonPath& at, std::uint64_t& out) {
  if (value.type() == element_type::UINT64) {
    out = value.get_uint64().value_unsafe();
    return true;
  }
  if (value.type() == element_type::INT64) {
    const std::int64_t signedValue = value.get_int64().value_unsafe();
    if (signedValue < 0) return fail(at, "expected a non-negative integer, got " + std::to_string(signedValue));
    out = static_cast<std::uint64_t>(signedValue);
    return true;
  }
  std::string_view text;
  if (value.get_string().get(text) == simdjson::SUCCESS) {
    if (text.size() < 3 || text.size() > 18 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) {
      return fail(at, "expected a hexadecimal word such as \"0x401a40\"");
    }
    std::uint64_t word = 0;
    for (char c : text.substr(2)) {
      int digit = -1;
      if (c >= '0' && c <= '9') digit = c - '0';
      if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
      if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
      if (digit < 0) return fail(at, "expected a hexadecimal word such as \"0x401a40\"");
      word = word * 16 + static_cast<std::uint64_t>(digit);
    }
    out = word;
    return true;
  }
  return fail(at, expected("a non-negative integer or a \"0x...\" string", value));
}

namespace {

struct IntegerRange {
  std::int64_t min;
  std::uint64_t max;
};

IntegerRange rangeOf(variant_t::type_t type) {
  switch (type) {
    case variant_t::t_i8: return {INT8_MIN, INT8_MAX};
    case variant_t::t_u8: return {0, UINT8_MAX};
    case variant_t::t_i16: return {INT16_MIN, INT16_MAX};
    case variant_t::t_u16: return {0, UINT16_MAX};
    case variant_t::t_i32: return {INT32_MIN, INT32_MAX};
    case variant_t::t_u32: return {0, UINT32_MAX};
    case variant_t::t_u64: return {0, UINT64_MAX};
    default: return {INT64_MIN, INT64_MAX};
  }
}

}  // namespace

bool JsonReader::readTyped(const element& value, const JsonPath& at, variant_t& out) {
  switch (value.type()) {
    case element_type::INT64: out = variant_t(value.get_int64().value_unsafe()); return true;
    case element_type::UINT64:
      return fail(at, "integer " + std::to_string(value.get_uint64().value_unsafe()) +
                          " does not fit i64; write it as {\"u64\": ...}");
    case element_type::DOUBLE: out = variant_t(value.get_double().value_unsafe()); return true;
    case element_type::BOOL: out = variant_t(value.get_bool().value_unsafe()); return true;
    case element_type::STRING: out = variant_t(value.get_string().value_unsafe()); return true;
    case element_type::OBJECT: break;
    default: return fail(at, expected("a typed value", value));
  }

  simdjson::dom::object object = value.get_object().value_unsafe();
  if (object.size() != 1) return fail(at, "expected an object with exactly one key, a kind such as \"u64\"");
  const auto entry = *object.begin();
  variant_t::type_t kind;
  if (!variant_t::type_from_name(entry.key, kind) || kind == variant_t::t_empty) {
    return fail(at, "unknown value kind \"" + std::string(entry.key) + "\"");
  }
  const JsonPath inner(at, entry.key);
  const element payload = entry.value;

  if (kind <= variant_t::last_integer_type) {
    const IntegerRange range = rangeOf(kind);
    const std::string outOfRange = std::string("out of range for ") + variant_t::type_name(kind);
    if (payload.type() == element_type::UINT64) {
      const std::uint64_t raw = payload.get_uint64().value_unsafe();
      if (raw > range.max) return fail(inner, outOfRange);
      out = variant_t::make_integer(kind, raw);
      return true;
    }
    if (payload.type() != element_type::INT64) return fail(inner, expected("an integer", payload));
    const std::int64_t number = payload.get_int64().value_unsafe();
    if (number < range.min || (number > 0 && static_cast<std::uint64_t>(number) > range.max)) {
      return fail(inner, outOfRange);
    }
    out = variant_t::make_integer(kind, static_cast<std::uint64_t>(number));
    return true;
  }
  switch (kind) {
    case variant_t::t_f32:
    case variant_t::t_f64: {
      double number = 0.0;
      if (!readNumber(payload, inner, number)) return false;
      if (kind == variant_t::t_f32 && std::fabs(number) > std::numeric_limits<float>::max()) {
        return fail(inner, "out of range for f32");
      }
      out = kind == variant_t::t_f32 ? variant_t(static_cast<float>(number)) : variant_t(number);
      return true;
    }
    case variant_t::t_bool: {
      bool flag = false;
      if (!readBool(payload, inner, flag)) return false;
      out = variant_t(flag);
      return true;
    }
    case variant_t::t_text: {
      std::string_view text;
      if (!readString(payload, inner, text)) return false;
      out = variant_t(text);
      return true;
    }
    default: return fail(at, "unknown value kind \"" + std::string(entry.key) + "\"");
  }
}

bool JsonReader::readNumericKey(std::string_view key, const JsonPath& at, std::int64_t max, std::int64_t& out) {
  if (key.empty() || key.size() > 18) return fail(at, "expected a decimal number as key");
  std::int64_t number = 0;
  for (char c : key) {
    if (c < '0' || c > '9') return fail(at, "expected a decimal number as key");
    number = number * 10 + (c - '0');
  }
  if (number > max) return fail(at, "key " + std::string(key) + " is out of range");
  out = number;
  return true;
}


}  // namespace foundation
