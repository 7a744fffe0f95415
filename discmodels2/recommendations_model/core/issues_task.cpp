#include "discmodels2/recommendations_model/core/issues_task.h"

#include <unistd.h>

#include <cstdio>
#include <utility>
#include <vector>

#include "data_abstractions2/i_dataset_helper.h"
#include "data_abstractions2/i_visit_handler.h"
#include "discmodels2/recommendations_model/core/recommendations_engine.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "platform/foundation/process.h"
#include "platform/model_support/time_measurer.h"
#include "platform/portability/assert.h"

namespace data_models2 {

using namespace data_abstractions2;
using foundation::IProcess;
using foundation::path_t;

namespace {

/// Counts the issues and their recommendations on every row of a walk in
/// pre-visit order. Lifted findings count on each row that holds them; null
/// entries count for nothing.
class DumpIssuesRowVisitHandler : public IVisitHandler<INode<IRowSpecification>> {
 public:
  explicit DumpIssuesRowVisitHandler(sptr_t<ISurveyingViewModel> surveyModel) : surveyModel(std::move(surveyModel)) {}

  variant_bag_t handlePreVisit(row_t row, const variant_bag_t& /*fromParent*/, bool& /*descend*/) override {
    if (!row) return variant_bag_t();
    // The host may read the findings, or a report load replace them,
    // meanwhile: the list is read whole under the row's lock.
    row_lock_t lock = row->lockRow();
    for (auto issues = row->rowIssues(); !issues.at_end(); issues.next()) {
      const sptr_t<IIssueEx>& issue = issues.current();
      if (!issue) continue;
      ++issueCount;
      for (auto recommendations = issue->getRecommendations(); !recommendations.at_end(); recommendations.next()) {
        ++recommendationCount;
      }
    }
    return variant_bag_t();
  }

  variant_bag_t handlePostVisit(row_t /*row*/, const std::vector<variant_bag_t>& /*fromChildren*/) override {
    NIMB_ASSERT_TEXT(false, "false");
    return variant_bag_t();
  }

  unsigned issueCount = 0;
  unsigned recommendationCount = 0;

 private:
  sptr_t<ISurveyingViewModel> surveyModel;  // keeps the rows' owner alive during the walk
};

constexpr int kWaitSliceMs = 100;

/// The directory of the running program, or empty when the kernel will not
/// say. The link is resolved, so a symlinked program finds its real siblings.
path_t runningProgramDirectory() {
  char buffer[4096];
  const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  if (length <= 0) return path_t();
  buffer[length] = '\0';
  return path_t(buffer).parent();
}

/// `directory` without trailing separators, so that its parent is the
/// directory that holds it.
path_t withoutTrailingSeparator(std::string directory) {
  while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
  return path_t(directory);
}

}  // namespace

IssuesTask::IssuesTask(const RecommendationsEngine* engine, sptr_t<ISurveyingViewModel> surveyModel,
                       sptr_t<IResultController> resultController, sptr_t<ISourceManager> sourceManager,
                       foundation::IProgress* progress, const path_t& reportPath, bool cacheActual,
                       bool useExternalDetection)
    : engine(engine),
      m_hotspotsModel(std::move(surveyModel)),
      resultController(std::move(resultController)),
      sourceManager(std::move(sourceManager)),
      progress(progress),
      reportPath(reportPath),
      useExternalDetection(useExternalDetection),
      cacheActual(cacheActual) {
  if (!this->progress) {
    dummyProgress.reset();
    this->progress = &dummyProgress;
  }
  if (m_hotspotsModel) {
    dumper = IssuesDumper<DefaultDumpPolicy>(m_hotspotsModel->getDataset(BottomUp), this->progress);
  }
  dumper.setFilename(this->reportPath.str());
}

IssuesTask::~IssuesTask() = default;

bool IssuesTask::canLoadFromFile() const {
  if (!resultController) return false;
  if (!resultController->isResultFrozen() && !cacheActual) return false;
  return reportPath.exists();
}

void IssuesTask::TaskStarted() {
  if (engine && m_hotspotsModel && !engine->isCollectionStarted()) {
    engine->setCollectionStarted(true);
    engine->collectionStartedSignal()();
  }
  if (progress) {
    sptr_t<IDataset> bottomUp = m_hotspotsModel ? m_hotspotsModel->getDataset(BottomUp) : nullptr;
    NIMB_ASSERT(bottomUp);
    const double rows = bottomUp ? static_cast<double>(bottomUp->rowCount()) : 0.0;
    // A scan walks the tree about three times (scan, count, report); a load
    // once.
    progress->start("Issues progress", canLoadFromFile() ? rows : 3.0 * rows);
  }
}

void IssuesTask::DoTask() {
  if (!engine) return;

  // A report that will not load is as good as none: make the findings anew.
  // reportOk stays false here on purpose, see TaskFinished.
  if (canLoadFromFile() && dumper.assignIssuesReport()) {
    origin_.store(FindingsOrigin::ReportFile, std::memory_order_release);
    reportMatches_.store(true, std::memory_order_release);
    return;
  }

  if (useExternalDetection) {
    origin_.store(FindingsOrigin::ExternalTool, std::memory_order_release);
    startPythonIssueDetection();
  } else {
    origin_.store(FindingsOrigin::Scan, std::memory_order_release);
    scanForIssues();
  }

  // The flag is looked at only now: a cancelled walk or tool leaves partial
  // findings, which must not end up in a report; nor does a failed scan.
  if (IsCanceled() || (progress && progress->isCanceled())) return;
  if (!scanFailure().empty()) return;

  if (useExternalDetection) {
    reportOk = dumper.assignIssuesReport();
  } else {
    if (!resultController) return;
    reportOk = dumper.dumpIssuesReport();
  }
  reportMatches_.store(reportOk, std::memory_order_release);
}

sptr_t<ScanIssuesRowVisitHandler> IssuesTask::makeScanHandler() const {
  return foundation::pool_allocate<ScanIssuesRowVisitHandler>(m_hotspotsModel, resultController, sourceManager);
}

void IssuesTask::scanForIssues() const {
  NIMB_ASSERT(m_hotspotsModel);
  if (!m_hotspotsModel) return;

  TimeMeasurer::instance().startTimeMeasure("Issue detection");
  sptr_t<IDataset> bottomUp = m_hotspotsModel->getDataset(BottomUp);
  NIMB_ASSERT(bottomUp);
  sptr_t<IDatasetHelper> walker = IDatasetHelper::create(bottomUp);
  if (!walker) {
    TimeMeasurer::instance().finishTimeMeasure("Issue detection", "");
    return;
  }

  // Children before parents: a row lifts what its children found.
  sptr_t<ScanIssuesRowVisitHandler> scan = makeScanHandler();
  try {
    walker->visitRows(nullptr, scan, IDatasetHelper::PostVisit, progress);
  } catch (const std::exception& e) {
    // Half the rows have findings and half don't: nothing of it may be taken
    // for a complete scan.
    std::lock_guard<std::mutex> lock(failureMutex_);
    scanFailure_ = e.what();
    TimeMeasurer::instance().finishTimeMeasure("Issue detection", "\nThe scan failed: " + scanFailure_ + "\n");
    return;
  }
  // Counters of a cancelled walk are still what was seen, so they are
  // written either way.
  scan->writeStatCounters();

  auto counter = foundation::pool_allocate<DumpIssuesRowVisitHandler>(m_hotspotsModel);
  walker->visitRows(nullptr, counter, IDatasetHelper::PreVisit, progress);
  lastIssueCount_.store(counter->issueCount, std::memory_order_release);
  lastRecommendationCount_.store(counter->recommendationCount, std::memory_order_release);

  char issues[32];
  char recommendations[32];
  std::snprintf(issues, sizeof(issues), "%d", static_cast<int>(counter->issueCount));
  std::snprintf(recommendations, sizeof(recommendations), "%d", static_cast<int>(counter->recommendationCount));
  const std::string text = std::string("\nNumber of issues detected ") + issues +
                           "\nNumber of recommendations detected " + recommendations + "\n";
  TimeMeasurer::instance().finishTimeMeasure("Issue detection", text);
}

void IssuesTask::startPythonIssueDetection() {
  const path_t programDirectory = runningProgramDirectory();
  const std::string tool = programDirectory.empty() ? std::string() : (programDirectory / kToolName).str();

  if (!resultController) return;

  // Results sit directly in the project directory, beside their siblings.
  const path_t resultDir = withoutTrailingSeparator(resultController->getResultDir(0));
  const std::string projectDir = resultDir.parent().str();

  TimeMeasurer& measurer = TimeMeasurer::instance();
  measurer.startTimeMeasure("Make experiment snapshot");
  const std::string experimentsDir = resultController->getExperimentsDir();
  // Without an experiments directory the name alone would point at the root.
  const std::string snapshotDir = experimentsDir.empty() ? std::string() : experimentsDir + "/" + kSnapshotName;
  // A run that was killed may have left its snapshot; the tool must see a
  // fresh copy of the data.
  removeSnapshot(snapshotDir);
  resultController->makeSnapshot(kSnapshotName, 0, 0);
  measurer.finishTimeMeasure("Make experiment snapshot", "");
  measurer.startTimeMeasure("Spawn new process");

  std::vector<std::string> args{
      "-report",      "issues",
      "-project-dir", projectDir,
      "--exp-dir",    kSnapshotName,
      "-format=xml",  "--report-output",
      reportPath.str(),
  };

  sptr_t<IProcess> process = IProcess::create();
  if (!process) {
    NIMB_ASSERT_TEXT(false, "false");
    return;
  }
  const foundation::error_code_t started =
      process->start(tool.c_str(), foundation::generic_iterator_t<std::string>(std::move(args)), nullptr, 0, 0, 0, 1);
  if (started == foundation::ec_ok) {
    foundation::error_code_t code;
    do {
      code = process->wait(kWaitSliceMs);
      if (progress && progress->isCanceled()) code = process->terminate();
    } while (code == foundation::ec_still_running);
  }
  measurer.finishTimeMeasure("Spawn new process", "");

  removeSnapshot(snapshotDir);
}

void IssuesTask::removeSnapshot(const std::string& directory) const {
  if (directory.empty() || !resultController) return;
  sptr_t<IResultController> controller = resultController->createResultController();
  if (!controller || !controller->open(directory)) return;
  sptr_t<IExperiment> experiment = controller->getExperiment();
  if (!experiment) return;
  experiment->deleteExperiment();
}

std::string IssuesTask::scanFailure() const {
  std::lock_guard<std::mutex> lock(failureMutex_);
  return scanFailure_;
}

void IssuesTask::Cancel() {
  DefaultTaskImpl::Cancel();
  if (progress) progress->cancel();
}

void IssuesTask::TaskFinished() {
  if (IsCanceled() || (progress && progress->isCanceled())) {
    SetCompleteStatus(IViewModelBase::LoadCanceled);
  } else if (!scanFailure().empty()) {
    SetCompleteStatus(IViewModelBase::LoadFailed);
  } else if (!useExternalDetection) {
    // A report that could not be written only costs the next run a scan.
    SetCompleteStatus(IViewModelBase::LoadOk);
  } else {
    sptr_t<IDataset> bottomUp = m_hotspotsModel ? m_hotspotsModel->getDataset(BottomUp) : nullptr;
    if (!bottomUp) {
      SetCompleteStatus(IViewModelBase::LoadNoData);
    } else {
      TimeMeasurer::instance().startTimeMeasure("Update GUI");
      SetCompleteStatus(reportOk ? IViewModelBase::LoadOk : IViewModelBase::LoadFailed);
      TimeMeasurer::instance().finishTimeMeasure("Update GUI", "");
    }
  }
  if (progress) progress->finish();
  stopSignal(this);
}

}  // namespace data_models2
