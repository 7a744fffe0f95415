#include "tools/nimbex-cl/run.h"

#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <functional>
#include <iterator>
#include <sstream>
#include <vector>

#include <boost/filesystem.hpp>

#include "data_abstractions2/i_dataset_helper.h"
#include "data_abstractions2/i_recommendations_model.h"
#include "discmodels2/recommendations_model/core/issues_task.h"
#include "discmodels2/recommendations_model/core/recommendations_engine.h"
#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/configuration/message_catalogs.h"
#include "platform/configuration/session_storage.h"
#include "platform/foundation/atomic_file.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"
#include "platform/host_data/session_seed.h"
#include "platform/model_support/issues_dumper.h"
#include "platform/model_support/report_file.h"
#include "platform/summary_store/summary_collection.h"
#include "tools/nimbex-cl/html_report.h"
#include "tools/nimbex-cl/loop_findings.h"
#include "tools/nimbex-cl/progress_bar.h"
#include "tools/nimbex-cl/sarif_report.h"
#include "tools/nimbex-cl/text_report.h"

namespace nimbex_cl {

using namespace data_abstractions2;
namespace fs = boost::filesystem;

namespace {

constexpr const char* kReportFileName = "issues.xml";

// A missing or broken catalogue degrades every text to its key, which users
// must hear about once. The catalogue layer loads a catalogue once per
// process, so this is the same one the translations will use.
void warnAboutCatalogue(std::ostream& err) {
  configuration::getMessageCatalog(data_models2::issues::recommendationsCatalogName);
  const std::string problem = configuration::getMessageCatalogError(data_models2::issues::recommendationsCatalogName);
  if (!problem.empty()) err << "nimbex-cl: warning: " << problem << "; messages are shown as their keys\n";
}

const char* originText(int origin) {
  switch (static_cast<data_models2::IssuesTask::FindingsOrigin>(origin)) {
    case data_models2::IssuesTask::FindingsOrigin::ReportFile: return "read from issues.xml";
    case data_models2::IssuesTask::FindingsOrigin::Scan: return "scanned";
    case data_models2::IssuesTask::FindingsOrigin::ExternalTool: return "made by a nimbex-cl child process";
    default: return "not made";
  }
}

// A rescan must not take the stored report: mark it as not matching the
// data. (A frozen result keeps using its report; that is what frozen means.)
void forgetCachedReport(const std::string& resultDir) {
  sptr_t<configuration::ISessionStorage> storage = configuration::ISessionStorage::create(resultDir);
  if (!storage) return;
  storage->set(data_models2::RecommendationsEngine::cache_actual_key, variant_t(false));
  storage->save();
}

// Runs the engine as a host does and waits for its findings. False when the
// user interrupted the run.
bool collectFindings(const host_data::ResultModels& models, foundation::IProgress& progress,
                     const std::atomic<bool>* interrupted, sptr_t<IRecommendationsModel>& model, bool& started) {
  model = data_models2::createRecommendationsModel();
  model->init(models.resultController, "nimbex-cl", nullptr, nullptr, &progress);
  model->setSurveyModel(models.surveyModel);
  model->setLoopManager(models.surveyModel->getLoopManager());
  // Decodes the rows' machine code for the detectors that read instructions.
  // Calls through a slot or to an address that the result names are calls of
  // that function, not calls through a pointer.
  assembler_analysis::SymbolResolver symbols;
  if (!models.symbols->empty()) {
    symbols = [table = models.symbols](std::uint64_t address, std::string& name) {
      const auto found = table->find(address);
      if (found == table->end()) return false;
      name = found->second;
      return true;
    };
  }
  model->setSourceManager(foundation::pool_allocate<host_data::HostSourceManager, ISourceManager>(
      models.resultController->getCodeBits(), std::move(symbols)));

  std::mutex mutex;
  std::condition_variable changed;
  bool finished = false;
  boost::signals2::scoped_connection connection = model->collectionFinished.connect([&](bool) {
    std::lock_guard<std::mutex> lock(mutex);
    finished = true;
    changed.notify_all();
  });

  if (interrupted && interrupted->load()) return false;
  started = model->startCollection();
  if (!started) return true;
  std::unique_lock<std::mutex> lock(mutex);
  while (!finished) {
    changed.wait_for(lock, std::chrono::milliseconds(50));
    if (interrupted && interrupted->load()) {
      lock.unlock();
      progress.cancel();
      model->stopCollection(true);
      return false;
    }
  }
  return true;
}

// Puts the stored report at `path` as well, piece by piece: the report of a
// large result is not held in memory.
bool copyStoredReport(const std::string& stored, const std::string& path, std::ostream& err) {
  if (path == stored) return true;
  auto copy = [&stored](const data_models2::ReportFile::append_t& append) {
    return data_models2::ReportFile::readPieces(stored, [&append](std::string_view piece) {
      append(piece);
      return true;
    });
  };
  if (data_models2::ReportFile::replace(path, copy)) return true;
  err << "nimbex-cl: " << path << ": could not write the report\n";
  return false;
}

// Whether the result holds a stored report that a shortcut below may take,
// and whether the session calls it current (a frozen result's report may be
// taken either way, which only a load can tell). The shortcuts leave the
// engine out, and with it the summary that it writes on every run: a result
// whose summary has gone takes the ordinary way, which makes it again.
bool storedReportUsable(const std::string& resultDir, bool& current) {
  boost::system::error_code ec;
  if (!fs::exists(fs::path(resultDir) / kReportFileName, ec) ||
      !fs::exists(fs::path(resultDir) / summary_store::SummaryCollection::file_name, ec)) {
    return false;
  }
  current = false;
  if (sptr_t<configuration::ISessionStorage> storage = configuration::ISessionStorage::create(resultDir)) {
    const variant_t flag = storage->get(data_models2::RecommendationsEngine::cache_actual_key, variant_t(0));
    current = (flag.is_integer() || flag.is_bool()) && flag.raw_bits() != 0;
  }
  return true;
}

// Adds `thing` to what the caller keeps, when it keeps anything.
void keepAlive(std::shared_ptr<void>* keep, std::shared_ptr<void> thing) {
  if (!keep || !thing) return;
  *keep = std::make_shared<std::pair<std::shared_ptr<void>, std::shared_ptr<void>>>(std::move(*keep), std::move(thing));
}

// Writes the text, HTML or SARIF report of rows that have their findings.
int writeReadableReport(const Options& options, const host_data::ResultModels& models, const std::string& resultDir,
                        std::ostream& out, std::ostream& err, std::shared_ptr<void>* keep) {
  const auto reportStart = std::chrono::steady_clock::now();
  ReportSources sources;
  sources.bottomUp = models.surveyModel->getDataset(BottomUp);
  sources.survey = models.surveyModel;
  sources.controller = models.resultController;
  sources.resultName = resultDir;
  sources.programTime = models.surveyModel->getProgramMetrics().elapsedTime;
  // Every finding's texts are copied into the data: on a large result its
  // freeing is worth leaving to the caller's exit too.
  auto held = std::make_shared<ReportData>(collectReportData(sources));
  const ReportData& data = *held;
  keepAlive(keep, held);
  const bool toStream = options.reportOutput.empty();
  std::string text;
  if (options.format == ReportFormat::Html) {
    text = HtmlReport(data, {}).render();
  } else if (options.format == ReportFormat::Sarif) {
    text = SarifReport(data).render();
  } else {
    TextReport::Settings settings;
    settings.topLoops = static_cast<std::size_t>(options.topLoops);
    // Straight to the stream: the text of a large result runs to hundreds of
    // megabytes.
    if (toStream) {
      TextReport(data, settings).print(out);
    } else {
      std::ostringstream stream;
      TextReport(data, settings).print(stream);
      text = stream.str();
    }
  }
  if (toStream) {
    out << text;
    out.flush();
    if (!out) return ExitFailure;
  } else {
    std::string error;
    // Through a temporary file, so that an interrupted run never leaves half
    // a report.
    if (!foundation::write_file_atomically(options.reportOutput, text, error)) {
      err << "nimbex-cl: " << error << "\n";
      return ExitFailure;
    }
  }
  if (options.verbose) {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - reportStart;
    err << "nimbex-cl: the report of " << data.loops.size() << " loops took " << took.count() << " s\n";
  }
  return ExitOk;
}

// A stored report that the session calls current (or of a frozen result) is
// also the whole of the findings for the text, HTML and SARIF reports. Those
// show names, places, times and roofline positions, so only that much of
// the rows is loaded, and the report is attached to them without the
// engine: rows this thin are never scanned. True when it answered, with the
// exit code in `code`; false leaves the run to the ordinary way.
bool reportFromStoredFindings(const Options& options, const std::string& resultDir, std::ostream& out,
                              std::ostream& err, int& code, std::shared_ptr<void>* keep) {
  bool current = false;
  if (!storedReportUsable(resultDir, current)) return false;
  const std::string stored = (fs::path(resultDir) / kReportFileName).string();
  auto loaded = std::make_shared<host_data::LoadResult>(
      host_data::loadResultDirectory(resultDir, host_data::LoadDetail::Report));
  if (!*loaded || !loaded->models().surveyModel) return false;
  const host_data::ResultModels& models = loaded->models();
  if (!current && !models.resultController->isResultFrozen()) return false;
  sptr_t<IDataset> bottomUp = models.surveyModel->getDataset(BottomUp);
  if (!bottomUp) return false;
  data_models2::IssuesDumper<data_models2::DefaultDumpPolicy> dumper(bottomUp, nullptr);
  dumper.setFilename(stored);
  // Checks the whole file against the rows before it attaches anything.
  if (!dumper.assignIssuesReport()) return false;
  if (options.verbose) err << "nimbex-cl: findings read from issues.xml\n";
  keepAlive(keep, loaded);
  code = writeReadableReport(options, models, resultDir, out, err, keep);
  return true;
}

// A stored report that the session calls current (or of a frozen result)
// and that fits the rows is the whole answer to -format=xml; telling that
// takes only the shape of the tree, not a load of every row's data, the
// engine, or a read of the findings. True when it answered, with the exit
// code in `code`; false leaves the run to the ordinary way.
bool answerFromStoredReport(const Options& options, const std::string& resultDir, std::ostream& err, int& code) {
  bool current = false;
  if (!storedReportUsable(resultDir, current)) return false;
  const std::string stored = (fs::path(resultDir) / kReportFileName).string();
  // A result that does not load is for the ordinary way to report.
  const host_data::LoadResult shape = host_data::loadResultDirectory(resultDir, host_data::LoadDetail::Shape);
  if (!shape || !shape.models().surveyModel) return false;
  if (!current && !shape.models().resultController->isResultFrozen()) return false;
  sptr_t<IDataset> bottomUp = shape.models().surveyModel->getDataset(BottomUp);
  if (!bottomUp) return false;
  data_models2::IssuesDumper<data_models2::DefaultDumpPolicy> dumper(bottomUp, nullptr);
  dumper.setFilename(stored);
  if (!dumper.reportFitsRows()) return false;

  if (options.verbose) err << "nimbex-cl: findings read from issues.xml\n";
  const std::string path = options.reportOutput.empty() ? stored : options.reportOutput;
  std::string refusal;
  if (!data_models2::ReportFile::mayReplace(path, refusal)) {
    err << "nimbex-cl: " << path << ": " << refusal << "; left as it is, the report is not written\n";
    code = ExitFailure;
    return true;
  }
  if (!copyStoredReport(stored, path, err)) {
    code = ExitFailure;
    return true;
  }
  if (options.verbose) err << "nimbex-cl: " << path << " holds the findings\n";
  code = ExitOk;
  return true;
}

// What the files a run may write looked like, to tell an interrupted user
// exactly what changed.
class WrittenFiles {
 public:
  explicit WrittenFiles(const std::string& resultDir) : dir_(resultDir) {
    for (const char* name : kNames) before_.push_back(stamp(name));
  }
  /// "issues.xml, summary.json", or empty when none changed.
  std::string changed() const {
    std::string list;
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
      if (stamp(kNames[i]) != before_[i]) list += (list.empty() ? "" : ", ") + std::string(kNames[i]);
    }
    return list;
  }

 private:
  static constexpr const char* kNames[] = {kReportFileName, "summary.json", "session.json"};
  // Files are replaced through a new file renamed over the old one, so a
  // change shows as another inode or change time, to the nanosecond; the
  // content is not read (reports of large results run to gigabytes).
  std::string stamp(const char* name) const {
    struct stat info;
    if (::stat((fs::path(dir_) / name).c_str(), &info) != 0) return "-";
    std::ostringstream text;
    text << info.st_size << "/" << info.st_ino << "/" << info.st_mtim.tv_sec << "." << info.st_mtim.tv_nsec << "/"
         << info.st_ctim.tv_sec << "." << info.st_ctim.tv_nsec;
    return text.str();
  }
  std::string dir_;
  std::vector<std::string> before_;
};

}  // namespace

int runTool(const Options& options, std::ostream& out, std::ostream& err, const std::atomic<bool>* interrupted,
            std::shared_ptr<void>* keep) {
  const std::string resultDir = options.resultDir();
  boost::system::error_code ec;
  if (!fs::is_directory(resultDir, ec)) {
    err << "nimbex-cl: " << resultDir << ": no such result directory; check -project-dir and --exp-dir\n";
    return ExitBadResult;
  }
  if (!options.rescan) {
    int code = ExitOk;
    const bool answered = options.format == ReportFormat::Xml
                              ? answerFromStoredReport(options, resultDir, err, code)
                              : reportFromStoredFindings(options, resultDir, out, err, code, keep);
    if (answered) return code;
  }
  host_data::LoadResult loaded = host_data::loadResultDirectory(resultDir);
  if (!loaded) {
    err << "nimbex-cl: " << loaded.error() << "\n";
    return ExitBadResult;
  }
  const host_data::ResultModels& models = loaded.models();
  // Nothing is written into a result that is refused.
  if (!models.surveyModel || !models.surveyModel->getDataset(BottomUp)) {
    err << "nimbex-cl: " << resultDir << ": the result has no bottom-up tree to analyse\n";
    return ExitBadResult;
  }
  std::string seedError;
  std::vector<std::string> seedWarnings;
  if (!host_data::seedSessionStorage(models, seedError, &seedWarnings) && options.verbose) {
    err << "nimbex-cl: note: " << seedError << "\n";
  }
  for (const std::string& warning : seedWarnings) err << "nimbex-cl: warning: " << warning << "\n";
  warnAboutCatalogue(err);

  if (options.rescan) forgetCachedReport(resultDir);
  const WrittenFiles written(resultDir);
  ProgressBar progress(stderr, !options.noProgress && ProgressBar::isTerminal(stderr));
  sptr_t<IRecommendationsModel> model;
  bool started = false;
  // Declared before the closer below, so the session is settled first.
  struct Handover {
    std::shared_ptr<void>* keep;
    host_data::LoadResult& loaded;
    sptr_t<IRecommendationsModel>& model;
    ~Handover() {
      if (keep) {
        keepAlive(keep, std::make_shared<std::pair<host_data::LoadResult, sptr_t<IRecommendationsModel>>>(
                            std::move(loaded), std::move(model)));
      }
    }
  } handover{keep, loaded, model};
  const bool completed = collectFindings(models, progress, interrupted, model, started);
  progress.finish();
  if (!completed) {
    model->closeResult();
    const std::string changed = written.changed();
    if (changed.empty()) {
      err << "nimbex-cl: interrupted; the result is unchanged\n";
    } else {
      err << "nimbex-cl: interrupted; written to the result before it stopped: " << changed << "\n";
    }
    return ExitCancelled;
  }
  if (!started) {
    err << "nimbex-cl: " << resultDir << ": the result has no bottom-up tree to analyse\n";
    return ExitBadResult;
  }
  const auto* engine = dynamic_cast<const data_models2::RecommendationsEngine*>(model.get());
  const std::string failure = engine ? engine->lastScanFailure() : std::string();
  if (!failure.empty()) {
    // Nothing was written: no report, no summary, and the session does not
    // call a report current.
    model->closeResult();
    err << "nimbex-cl: " << resultDir << ": the scan failed at " << failure << "\n";
    return ExitBadResult;
  }
  const char* origin = originText(engine ? engine->lastFindingsOrigin() : 0);
  if (options.verbose) err << "nimbex-cl: findings " << origin << "\n";
  // Settles the session key that lets the next run read issues.xml.
  struct Closer {
    sptr_t<IRecommendationsModel> model;
    ~Closer() { model->closeResult(); }
  } closer{model};

  sptr_t<IDataset> bottomUp = models.surveyModel->getDataset(BottomUp);
  if (options.format == ReportFormat::Xml) {
    const std::string stored = (fs::path(resultDir) / kReportFileName).string();
    const std::string path = options.reportOutput.empty() ? stored : options.reportOutput;
    std::string refusal;
    if (!data_models2::ReportFile::mayReplace(path, refusal)) {
      err << "nimbex-cl: " << path << ": " << refusal << "; left as it is, the report is not written\n";
      return ExitFailure;
    }
    // The task has read or written the result's report already: it is not
    // built a second time, only copied when asked for elsewhere.
    if (engine && engine->lastReportMatchesRows()) {
      if (!copyStoredReport(stored, path, err)) return ExitFailure;
      if (options.verbose) err << "nimbex-cl: " << path << " holds the findings\n";
      return ExitOk;
    }
    data_models2::IssuesDumper<data_models2::DefaultDumpPolicy> dumper(bottomUp, nullptr);
    dumper.setFilename(path);
    if (!dumper.dumpIssuesReport()) {
      err << "nimbex-cl: " << path << ": could not write the report\n";
      return ExitFailure;
    }
    if (options.verbose) err << "nimbex-cl: wrote " << path << "\n";
    return ExitOk;
  }

  return writeReadableReport(options, models, resultDir, out, err, keep);
}

}  // namespace nimbex_cl
