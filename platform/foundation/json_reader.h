#pragma once
// `JsonReader`: checked reading of every JSON file of ours — results,
// session values, summaries — with errors that name the file and the JSON
// Pointer of the value at fault:
//
//   result.json: /bottomUp/rows/3/fields/SelfTime: expected a number, got a string
//
// Every read returns false on failure and records the first error; callers
// return false up the chain, so one bad value ends the load with exactly one
// message. Nothing here recurses over the document.

#include <cstdint>
#include <string>
#include <string_view>

#include <simdjson.h>

#include "platform/foundation/variant.h"

namespace foundation {

/// A position in the document, as a chain of stack frames: each level of the
/// reader's descent adds one on its own stack, so keeping the path costs no
/// allocation until an error needs it spelt out.
class JsonPath {
 public:
  JsonPath() = default;
  JsonPath(const JsonPath& parent, std::string_view key) : parent_(&parent), key_(key) {}
  JsonPath(const JsonPath& parent, std::size_t index) : parent_(&parent), index_(index), isIndex_(true) {}

  /// RFC 6901 form: "/bottomUp/rows/3"; the document itself is "/".
  std::string toString() const;

 private:
  const JsonPath* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  bool isIndex_ = false;
};

class JsonReader {
 public:
  using element = simdjson::dom::element;

  explicit JsonReader(std::string fileName) : fileName_(std::move(fileName)) {}

  const std::string& error() const { return error_; }
  /// Records "file: path: message" unless an error is recorded already;
  /// returns false so callers can `return fail(...)`.
  bool fail(const JsonPath& at, std::string_view message);
  /// For errors that have no position, such as a file that does not parse.
  bool failWhole(std::string_view message);

  static std::string_view describe(const element& value);
  /// True for keys that the format reserves for notes and extensions.
  static bool isIgnoredKey(std::string_view key) { return key.size() >= 2 && key.substr(0, 2) == "x-"; }

  bool readObject(const element& value, const JsonPath& at, simdjson::dom::object& out);
  bool readArray(const element& value, const JsonPath& at, simdjson::dom::array& out);
  bool readString(const element& value, const JsonPath& at, std::string_view& out);
  bool readBool(const element& value, const JsonPath& at, bool& out);
  /// Any JSON number.
  bool readNumber(const element& value, const JsonPath& at, double& out);
  /// An integer literal within [min, max].
  bool readInteger(const element& value, const JsonPath& at, std::int64_t min, std::int64_t max, std::int64_t& out);
  bool readInt(const element& value, const JsonPath& at, int& out);
  /// A non-negative integer literal, or a "0x..." hexadecimal string.
  bool readWord(const element& value, const JsonPath& at, std::uint64_t& out);
  /// A typed value (docs/result-format.md, "Typed values").
  bool readTyped(const element& value, const JsonPath& at, variant_t& out);
  /// A key that is a decimal number within [0, max].
  bool readNumericKey(std::string_view key, const JsonPath& at, std::int64_t max, std::int64_t& out);

  /// Reads the file whole, with the real reason when it can't ("is a
  /// directory", "Permission denied") and without a byte order mark.
  bool loadFile(const std::string& path, simdjson::padded_string& text);
  /// Parses `text`; a syntax error names its line and column.
  bool parse(simdjson::dom::parser& parser, const simdjson::padded_string& text, element& root);
  /// As parse, into a document of the caller's. The parser's index of the
  /// text is gone when this returns, and `text` is no longer needed: the
  /// document holds copies of its strings. For large files, where the text
  /// and the index together weigh as much as the document.
  bool parseInto(simdjson::dom::document& document, const simdjson::padded_string& text, element& root);
  /// Forgets the recorded error, for readers that skip what they can't read
  /// and go on.
  void clearError() { error_.clear(); }

 private:
  std::string fileName_;
  std::string error_;
};

}  // namespace foundation
