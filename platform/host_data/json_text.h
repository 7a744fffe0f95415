#pragma once
// The JSON writing pieces under the names the result writers (such as the
// synthetic result generator) know them by; the work is done by
// platform/foundation/json_writer.h and atomic_file.h.

#include <string>
#include <string_view>

#include "platform/foundation/atomic_file.h"
#include "platform/foundation/json_writer.h"

namespace host_data::json_text {

inline void appendString(std::string& out, std::string_view text) { foundation::append_json_string(out, text); }
/// False, and nothing appended, for NaN and infinities.
inline bool appendDouble(std::string& out, double value) { return foundation::append_json_real(out, value); }
inline bool appendTypedValue(std::string& out, const foundation::variant_t& value) {
  return foundation::append_json_typed_value(out, value);
}

using AtomicFileWriter = foundation::atomic_file_t;

}  // namespace host_data::json_text
