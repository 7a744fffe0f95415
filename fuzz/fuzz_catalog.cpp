// The message catalogue reader on any bytes: a refusal names the file; a
// catalogue that loads fills every text, with and without arguments.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "platform/portability/message_catalog.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  portability::catalog_error_t error;
  auto catalog = portability::parse_catalog("fuzz", text, "fuzz.po", error);
  if (!catalog) {
    FUZZ_CHECK(error.file == "fuzz.po" && !error.reason.empty(), error.to_ustring());
    return 0;
  }
  for (const auto& key : catalog->keys()) {
    FUZZ_CHECK(catalog->has_message(key), key);
    catalog->message(key).as_ustring();
    catalog->message(key).as_ustring({{"%1", "one"}, {"%2", 2}, {"%3", 3.5}});
  }
  return 0;
}
