// The whole way of a result: any bytes that load as a result are scanned
// (machine code decoded, every detector run), the findings are written as
// a report, read back onto a fresh load of the same result and written
// again: both reports must be the same text.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "fuzz/fuzz_check.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"
#include "platform/model_support/issues_dumper.h"

namespace {

using namespace data_abstractions2;

// A scan that fails on a row is a reported failure, not a finding of the
// fuzzer: the tool turns it into exit code 3.
bool scan(const host_data::ResultModels& models) {
  auto rows = models.surveyModel->getDataset(BottomUp);
  auto helper = IDatasetHelper::create(rows);
  if (!helper) return false;
  auto handler = foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler>(
      models.surveyModel, models.resultController,
      foundation::pool_allocate<host_data::HostSourceManager, ISourceManager>(models.resultController->getCodeBits()));
  try {
    helper->visitRows(nullptr, handler, IDatasetHelper::PostVisit, nullptr);
  } catch (const data_models2::ScanError&) {
    return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  host_data::LoadResult loaded = host_data::loadResultText(text, "/fuzz/result", "result.json");
  if (!loaded.ok() || !loaded.models().surveyModel->getDataset(BottomUp)) return 0;
  if (!scan(loaded.models())) return 0;

  static const std::filesystem::path dir = fuzz::scratchDir("scan");
  const std::string report = (dir / "issues.xml").string();
  const auto rows = loaded.models().surveyModel->getDataset(BottomUp);
  FUZZ_CHECK(data_models2::DefaultDumpPolicy::dumpReport(rows, report, nullptr), "the report of a scan is written");
  const std::string first = fuzz::readFile(report);

  host_data::LoadResult again = host_data::loadResultText(text, "/fuzz/result", "result.json");
  FUZZ_CHECK(again.ok(), "the same text loads twice");
  const auto rowsAgain = again.models().surveyModel->getDataset(BottomUp);
  FUZZ_CHECK(data_models2::DefaultDumpPolicy::assignReport(rowsAgain, report, nullptr), "the report reads back");
  FUZZ_CHECK(data_models2::DefaultDumpPolicy::dumpReport(rowsAgain, report, nullptr), "the report is written again");
  FUZZ_CHECK(fuzz::readFile(report) == first, first);
  return 0;
}
