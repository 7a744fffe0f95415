// The session storage on any file content: a file that reads is written
// back with every value it had and the new one; a file that doesn't read is
// never replaced.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "platform/configuration/session_storage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  static const std::filesystem::path dir = fuzz::scratchDir("session");
  const std::filesystem::path file = dir / configuration::ISessionStorage::file_name;
  fuzz::writeFile(file, text);

  auto storage = configuration::ISessionStorage::create(dir.string());
  FUZZ_CHECK(storage, "no storage on an existing directory");
  storage->set("fuzz_key", foundation::variant_t(7));
  if (!storage->save()) {
    FUZZ_CHECK(fuzz::readFile(file) == text, "a file that did not read was changed");
    return 0;
  }
  auto again = configuration::ISessionStorage::create(dir.string());
  FUZZ_CHECK(again->get("fuzz_key") == foundation::variant_t(7), "the saved value is lost");
  const std::string saved = fuzz::readFile(file);
  FUZZ_CHECK(again->save(), "a file we wrote does not save again");
  FUZZ_CHECK(fuzz::readFile(file) == saved, "a second save changed the file");
  return 0;
}
