// The report reader on any bytes, against the rows of the bundled example:
// a report that is refused leaves every row as it was; one that is taken is
// written again as the same text that a second reading of it writes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "platform/host_data/result_loader.h"
#include "platform/model_support/issues_dumper.h"

namespace {

struct Example {
  host_data::LoadResult loaded = host_data::loadResultDirectory(NIMBEX_SOURCE_ROOT "/examples/basic");
  foundation::sptr_t<data_abstractions2::IDataset> rows() const {
    return loaded.models().surveyModel->getDataset(data_abstractions2::BottomUp);
  }
};

std::string dump(const foundation::sptr_t<data_abstractions2::IDataset>& rows, const std::filesystem::path& file) {
  FUZZ_CHECK(data_models2::DefaultDumpPolicy::dumpReport(rows, file.string(), nullptr), file.string());
  return fuzz::readFile(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Example example;
  if (!example.loaded.ok()) fuzz::fail("the example loads", example.loaded.error());
  static const std::filesystem::path dir = fuzz::scratchDir("report");
  const auto rows = example.rows();

  // What the rows hold; dumped again only after a report was taken.
  static std::string before = dump(rows, dir / "before.xml");
  fuzz::writeFile(dir / "issues.xml", std::string_view(reinterpret_cast<const char*>(data), size));
  if (!data_models2::DefaultDumpPolicy::assignReport(rows, (dir / "issues.xml").string(), nullptr)) {
    // Checking every refusal would double the cost of each run; one in 64
    // is plenty to catch a reader that touches rows before it is sure.
    static unsigned refusals = 0;
    if (++refusals % 64 == 0) FUZZ_CHECK(dump(rows, dir / "after.xml") == before, "a refused report changed the rows");
    return 0;
  }
  const std::string first = dump(rows, dir / "first.xml");
  before = first;
  FUZZ_CHECK(data_models2::DefaultDumpPolicy::assignReport(rows, (dir / "first.xml").string(), nullptr),
             "what we wrote does not read back");
  FUZZ_CHECK(dump(rows, dir / "second.xml") == first, first);
  return 0;
}
