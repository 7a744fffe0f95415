// The result loader on any bytes: a load either succeeds or gives one
// message that names result.json and is safe to print.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "platform/host_data/result_loader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  host_data::LoadResult loaded = host_data::loadResultText(text, "/fuzz/result", "result.json");
  if (!loaded.ok()) FUZZ_CHECK(fuzz::namesFile(loaded.error(), "result.json"), loaded.error());
  return 0;
}
