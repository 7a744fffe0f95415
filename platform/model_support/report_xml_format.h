#pragma once
// The vocabulary of the XML report and the text forms of its values, shared
// by the writer and the reader so that the two cannot drift apart. The layout
// of the file is described in docs/issues-xml.md.

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/foundation/variant.h"

namespace data_models2::report_xml {

// A report whose root carries another version is refused as a whole: fields
// change meaning between versions, and a cache is cheaper to rebuild than to
// half-understand.
inline constexpr const char* kFormatVersion = "1";

inline constexpr const char* kRootElement = "issues_report";
inline constexpr const char* kRecommendationsElement = "recommendations";
inline constexpr const char* kIssuesElement = "issues";
inline constexpr const char* kTraitsElement = "traits";
inline constexpr const char* kRowsElement = "rows";
inline constexpr const char* kRecommendationElement = "recommendation";
inline constexpr const char* kIssueElement = "issue";
inline constexpr const char* kTraitElement = "trait";
inline constexpr const char* kRowElement = "row";
inline constexpr const char* kFloatElement = "float";
inline constexpr const char* kParametersElement = "parameters";
inline constexpr const char* kValueElement = "value";
inline constexpr const char* kBagElement = "bag";

inline constexpr const char* kVersionAttribute = "version";
inline constexpr const char* kRowCountAttribute = "rows";
inline constexpr const char* kFingerprintAttribute = "fingerprint";
inline constexpr const char* kRefAttribute = "ref";
inline constexpr const char* kIdAttribute = "id";
inline constexpr const char* kTitleAttribute = "title";
inline constexpr const char* kTextAttribute = "text";
inline constexpr const char* kFlagsAttribute = "flags";
inline constexpr const char* kPriorityAttribute = "priority";
inline constexpr const char* kConfidenceAttribute = "confidence";
inline constexpr const char* kColumnAttribute = "column";
inline constexpr const char* kKeyAttribute = "key";
inline constexpr const char* kTypeAttribute = "type";
inline constexpr const char* kValueAttribute = "value";

/// Bags nest at most this deep (the top bag is depth 1). Detectors nest two
/// levels; the bound keeps a hostile file from exhausting the stack of the
/// recursive bag reader.
inline constexpr unsigned kMaxBagDepth = 64;

/// True when `text` can stand in an XML 1.0 attribute as it is: valid UTF-8
/// without NUL, without control characters other than tab, line feed and
/// carriage return, and without the non-characters U+FFFE and U+FFFF.
bool isXmlSafe(std::string_view text);

/// The attributes of one element as the parser hands them over: names and
/// values alternating, ended by a null name. Borrowed; valid only while the
/// parser's callback for the element runs.
class Attributes {
 public:
  explicit Attributes(const char* const* pairs) : pairs_(pairs) {}
  /// The value of `name`, or null when the element has no such attribute.
  const char* find(std::string_view name) const;
  /// The value of `name`, or "" when the element has none.
  const char* value(std::string_view name) const {
    const char* found = find(name);
    return found ? found : "";
  }
  /// The value of `name` with "-hex" behind it, or null.
  const char* findHex(std::string_view name) const;

 private:
  const char* const* pairs_;
};

/// Appends `text` as the content of a double-quoted attribute: '&', '<' and
/// '"' as entities, control characters as "&#NN;" with two digits.
void appendEscaped(std::string& out, std::string_view text);
/// Appends ` name="value"`, or, when the value is not XML-safe, its bytes as
/// hex digits under `name` with "-hex" behind it (` name-hex="..."`), so that
/// every string comes back byte for byte.
void appendString(std::string& out, const char* name, std::string_view value);
/// Reads what appendString wrote. False when neither or both forms are
/// there, or the hex form is malformed.
bool getString(const Attributes& attributes, const char* name, std::string& value);

/// Shortest text that reads back to the same float ("0.25", "1e-45", "-inf",
/// "nan").
std::string formatFloat(float value);
std::string formatDouble(double value);

// Strict parsers: the whole text must be the number, with no blanks, no '+'
// and nothing behind it; a value outside the target's range is refused.
bool parseFloat(std::string_view text, float& value);
bool parseDouble(std::string_view text, double& value);
bool parseU64(std::string_view text, std::uint64_t& value);
bool parseI64(std::string_view text, std::int64_t& value);
bool parseUnsigned(std::string_view text, unsigned& value);
bool parseInt(std::string_view text, int& value);

/// Appends the kind and the value of `value` as the attributes "type" and
/// "value" ("value-hex" for text that is not XML-safe; none for the empty
/// kind). False for a kind without a name.
bool appendVariant(std::string& out, const foundation::variant_t& value);
/// Reads what appendVariant wrote; integers must fit their kind.
bool getVariant(const Attributes& attributes, foundation::variant_t& value);

}  // namespace data_models2::report_xml
