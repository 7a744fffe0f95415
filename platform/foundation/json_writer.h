#pragma once
// Pieces of JSON text for the files this system writes (result.json,
// session.json, the recommendations summary). What they write reads back as
// the same kind and value under the typed-value rules of
// docs/result-format.md:
//
//   "text"  -5  0.25  2.0  true         i64, f64, bool and text are plain JSON
//   {"u64": 5}  {"i32": -1}  {"f32": 0.5}   every other kind names itself

#include <string>
#include <string_view>

#include "platform/foundation/variant.h"

namespace foundation {

/// What append_json_real does with NaN and the infinities, which JSON has no
/// literal for. Writers differ: a stored value that could not be read back is
/// refused, while a measured time that is not a number is as good as unknown.
enum class json_non_finite_t {
  refuse,   ///< append nothing and answer false
  as_null,  ///< append `null` and answer true
};

/// Appends `text` as a JSON string literal, quotes included. Quote,
/// backslash and control characters are escaped; other bytes, UTF-8 or not,
/// are copied as they are (a caller with text of unknown encoding checks it).
void append_json_string(std::string& out, std::string_view text);

/// Appends `value` in the shortest digits that read back as the same double,
/// with ".0" added when they would read as an integer, so that the value stays
/// an f64. Non-finite values follow `non_finite`.
bool append_json_real(std::string& out, double value, json_non_finite_t non_finite = json_non_finite_t::refuse);

/// Appends a typed value (see above). False, and nothing appended, for an
/// empty variant or a non-finite real.
bool append_json_typed_value(std::string& out, const variant_t& value);

}  // namespace foundation
