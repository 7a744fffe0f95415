// The summary file reader on any bytes: a refusal says why; a summary that
// reads is written back to the same text a second reading gives.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "platform/summary_store/summary_collection.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string error;
  auto summary = summary_store::SummaryCollection::fromText(text, error);
  if (!summary) {
    FUZZ_CHECK(!error.empty(), text);
    return 0;
  }
  const std::string written = summary_store::SummaryCollection::toText(*summary);
  auto again = summary_store::SummaryCollection::fromText(written, error);
  FUZZ_CHECK(again, "what we wrote does not read back: " + error);
  FUZZ_CHECK(summary_store::SummaryCollection::toText(*again) == written, written);
  return 0;
}
