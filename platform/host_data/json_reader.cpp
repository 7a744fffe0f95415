#include "platform/host_data/json_reader.h"

#include <limits>
#include <vector>

#include "data_abstractions2/field_id.h"
#include "platform/foundation/json_file.h"

namespace host_data {

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

IntegerRange rangeOf(foundation::variant_t::type_t type) {
  using foundation::variant_t;
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

bool JsonReader::readTyped(const element& value, const JsonPath& at, foundation::variant_t& out) {
  using foundation::variant_t;
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

bool JsonReader::readFieldKey(std::string_view key, const JsonPath& at, int& out) {
  if (!key.empty() && key[0] >= '0' && key[0] <= '9') {
    std::int64_t number = 0;
    if (!readNumericKey(key, at, std::numeric_limits<int>::max(), number)) return false;
    if (number == 0) return fail(at, "field 0 does not exist");
    out = static_cast<int>(number);
    return true;
  }
  // The name lookup reads up to a NUL: "SelfTime\0junk" must not pass.
  if (key.find('\0') != std::string_view::npos) return fail(at, "a field name must not contain NUL");
  const std::string name(key);
  int id = 0;
  if (!data_abstractions2::fieldIdFromName(name.c_str(), id) || id == data_abstractions2::FieldNone) {
    return fail(at, "unknown field name \"" + name + "\"");
  }
  out = id;
  return true;
}

}  // namespace host_data
