#pragma once
// Small pieces of JSON text for writers of result directories, such as the
// synthetic result generator. Output follows the
// typed-value rules of docs/result-format.md, so what is written reads back
// as the same kind and value.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/foundation/variant.h"

namespace host_data::json_text {

/// Appends `text` as a JSON string literal, quotes included.
void appendString(std::string& out, std::string_view text);
/// Appends a double so that it reads back as the same f64: shortest
/// round-trip digits, with ".0" added when they would read as an integer.
/// False, and nothing appended, for NaN and infinities, which JSON lacks.
bool appendDouble(std::string& out, double value);
/// Appends a typed value: plain JSON for i64, f64, bool and text, the
/// explicit `{"kind": value}` form for the other kinds. False for an empty
/// variant or a non-finite real.
bool appendTypedValue(std::string& out, const foundation::variant_t& value);

/// Writes a file so that readers see either the old file or the whole new
/// one: the text goes to a temporary file beside `path`, which `commit`
/// renames over it. A writer destroyed without `commit` removes its
/// temporary file.
class AtomicFileWriter {
 public:
  explicit AtomicFileWriter(std::string path);
  AtomicFileWriter(const AtomicFileWriter&) = delete;
  AtomicFileWriter& operator=(const AtomicFileWriter&) = delete;
  ~AtomicFileWriter();

  bool open(std::string& error);
  /// Errors are remembered and reported by `commit`.
  void write(std::string_view text);
  bool commit(std::string& error);

 private:
  void discard();

  std::string path_;
  std::string temporary_;
  std::FILE* file_ = nullptr;
  int errno_ = 0;
};

}  // namespace host_data::json_text
