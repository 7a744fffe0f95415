#include "tools/nimbex-cl/run.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include <boost/filesystem.hpp>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/configuration/message_catalogs.h"
#include "platform/host_data/result_loader.h"
#include "platform/host_data/session_seed.h"
#include "platform/model_support/issues_dumper.h"
#include "tools/nimbex-cl/text_report.h"

namespace nimbex_cl {

using namespace data_abstractions2;
namespace fs = boost::filesystem;

namespace {

constexpr const char* kReportFileName = "issues.xml";

// The catalogue is looked up at the first translation; a missing or broken
// one degrades every text to its key, which users must hear about once.
void warnAboutCatalogue(std::ostream& err) {
  data_models2::issues::translate("type_conversions_issue_title");
  const std::string problem = configuration::getMessageCatalogError(data_models2::issues::recommendationsCatalogName);
  if (!problem.empty()) err << "nimbex-cl: warning: " << problem << "; messages are shown as their keys\n";
}

// Writes `text` to `path` through a temporary file in the same directory, so
// that an interrupted run never leaves half a report.
bool writeFileAtomically(const std::string& path, const std::string& text, std::string& error) {
  const fs::path target(path);
  fs::path temp = target;
  temp += ".tmp-" + std::to_string(::getpid());
  {
    std::ofstream file(temp.string(), std::ios::binary | std::ios::trunc);
    if (!file) {
      error = path + ": cannot write: " + std::strerror(errno);
      return false;
    }
    file << text;
    file.flush();
    if (!file) {
      error = path + ": write failed";
      boost::system::error_code ignored;
      fs::remove(temp, ignored);
      return false;
    }
  }
  boost::system::error_code ec;
  fs::rename(temp, target, ec);
  if (ec) {
    error = path + ": cannot replace: " + ec.message();
    fs::remove(temp, ec);
    return false;
  }
  return true;
}

void scan(const host_data::ResultModels& models) {
  auto handler = foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler, data_models2::ScanIssuesRowVisitHandler>(
      models.surveyModel, models.resultController, nullptr);
  auto walker = IDatasetHelper::create(models.surveyModel->getDataset(BottomUp));
  if (!walker) return;
  walker->visitRows(nullptr, handler, IDatasetHelper::PostVisit, nullptr);
  handler->writeStatCounters();
}

}  // namespace

int runTool(const Options& options, std::ostream& out, std::ostream& err) {
  const std::string resultDir = options.resultDir();
  boost::system::error_code ec;
  if (!fs::is_directory(resultDir, ec)) {
    err << "nimbex-cl: " << resultDir << ": no such result directory; check -project-dir and --exp-dir\n";
    return ExitBadResult;
  }
  host_data::LoadResult loaded = host_data::loadResultDirectory(resultDir);
  if (!loaded) {
    err << "nimbex-cl: " << loaded.error() << "\n";
    return ExitBadResult;
  }
  const host_data::ResultModels& models = loaded.models();
  std::string seedError;
  if (!host_data::seedSessionStorage(models, seedError) && options.verbose) {
    err << "nimbex-cl: note: " << seedError << "\n";
  }
  warnAboutCatalogue(err);

  scan(models);
  if (options.verbose) err << "nimbex-cl: findings came from a scan of the result\n";

  sptr_t<IDataset> bottomUp = models.surveyModel->getDataset(BottomUp);
  if (options.format == ReportFormat::Xml) {
    const std::string path =
        options.reportOutput.empty() ? (fs::path(resultDir) / kReportFileName).string() : options.reportOutput;
    data_models2::IssuesDumper<data_models2::DefaultDumpPolicy> dumper(bottomUp, nullptr);
    dumper.setFilename(path);
    if (!dumper.dumpIssuesReport()) {
      err << "nimbex-cl: " << path << ": could not write the report\n";
      return ExitFailure;
    }
    if (options.verbose) err << "nimbex-cl: wrote " << path << "\n";
    return ExitOk;
  }

  TextReport::Settings settings;
  settings.topLoops = static_cast<std::size_t>(options.topLoops);
  settings.resultName = resultDir;
  settings.origin = "scanned";
  settings.programTime = models.surveyModel->getProgramMetrics().elapsedTime;
  TextReport report(bottomUp, settings);
  if (options.reportOutput.empty()) {
    report.print(out);
    return out ? ExitOk : ExitFailure;
  }
  std::ostringstream text;
  report.print(text);
  std::string error;
  if (!writeFileAtomically(options.reportOutput, text.str(), error)) {
    err << "nimbex-cl: " << error << "\n";
    return ExitFailure;
  }
  return ExitOk;
}

}  // namespace nimbex_cl
