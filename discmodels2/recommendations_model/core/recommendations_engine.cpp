#include "discmodels2/recommendations_model/core/recommendations_engine.h"

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_types.hpp>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/issues_task.h"
#include "discmodels2/recommendations_model/core/summary_loops_row_visitor.h"
#include "platform/configuration/product_locations.h"
#include "platform/configuration/session_storage.h"
#include "platform/foundation/path.h"
#include "platform/model_support/scheduler.h"
#include "platform/summary_store/summary_collection.h"

namespace data_models2 {

namespace da = data_abstractions2;
using foundation::sptr_t;

namespace {

using engine_lock_t = boost::unique_lock<boost::recursive_mutex>;

// The installation does not change while the process runs, and a task must
// not switch between the external tool and the scan halfway through a
// session: asked once, kept for the life of the process.
bool useExternalDetection() {
  static const bool answer = [] {
    const sptr_t<configuration::IProductLocations> locations = configuration::IProductLocations::get();
    return locations && locations->hasFeature(RecommendationsEngine::external_feature);
  }();
  return answer;
}

// Hosts before this one kept the flag as an integer; a bool is what we
// write now. Either counts; anything else (text, a real) is not ours.
bool readCacheFlag(const foundation::variant_t& value) {
  return (value.is_integer() || value.is_bool()) && value.raw_bits() != 0;
}

}  // namespace

RecommendationsEngine::RecommendationsEngine() : tasksGroupName(task_group) {}

// The scoped connections let go of the related models' signals here; a task
// cannot be running, since it holds a reference to the engine.
RecommendationsEngine::~RecommendationsEngine() = default;

bool RecommendationsEngine::init(sptr_t<da::IResultController> controller, const std::string& /*name*/,
                                 sptr_t<da::IPropertyStorage> /*properties*/, da::IMessenger* newMessenger,
                                 foundation::IProgress* newProgress) {
  {
    std::lock_guard<std::mutex> lock(modelsMutex);
    resultController = controller;
  }
  progress = newProgress;
  messenger = newMessenger;

  bool actual = false;
  if (controller) {
    if (sptr_t<configuration::ISessionStorage> storage = configuration::ISessionStorage::create(controller->getResultDir(0))) {
      actual = readCacheFlag(storage->get(cache_actual_key, foundation::variant_t(0)));
    }
  }
  cacheActual.store(actual, std::memory_order_release);
  return true;
}

bool RecommendationsEngine::hasIssuesData() const {
  std::lock_guard<std::mutex> lock(modelsMutex);
  if (!surveyModel || !surveyModel->getDataset(da::BottomUp)) return false;
  if (!resultController) return false;
  const std::string dir = resultController->getResultDir(0);
  boost::system::error_code error;
  return !dir.empty() && boost::filesystem::exists(dir, error);
}

std::string RecommendationsEngine::getResultFile() const {
  std::lock_guard<std::mutex> lock(modelsMutex);
  if (!resultController) return std::string();
  return (foundation::path_t(resultController->getResultDir(0)) / foundation::path_t(report_file_name)).str();
}

void RecommendationsEngine::setTasksParentGroupName(const std::string& parent) {
  engine_lock_t lock(mutex);
  tasksGroupName.clear();
  if (!parent.empty()) tasksGroupName = parent + "/";
  tasksGroupName += task_group;
}

std::string RecommendationsEngine::getTasksGroupName() const {
  engine_lock_t lock(mutex);
  return tasksGroupName;
}

std::string RecommendationsEngine::getTaskName() const {
  engine_lock_t lock(mutex);
  return getTasksGroupName() + "/" + task_group + std::to_string(taskCounter);
}

bool RecommendationsEngine::isCollectionStarted() const { return collectionRunning.load(std::memory_order_acquire); }

void RecommendationsEngine::setCollectionStarted(bool started) const {
  collectionRunning.store(started, std::memory_order_release);
}

foundation::signal_t<>& RecommendationsEngine::collectionStartedSignal() const {
  // Raising a signal changes nothing the engine owns; the task only has a
  // const view of the engine.
  return const_cast<RecommendationsEngine*>(this)->collectionStarted;
}

bool RecommendationsEngine::startTask() {
  const sptr_t<IScheduler> scheduler = IScheduler::get();
  if (!scheduler || !scheduler->isRunning()) return false;
  engine_lock_t lock(mutex);
  if (!collectionRequested.load(std::memory_order_acquire)) return false;

  const std::string name = getTaskName();
  const bool external = useExternalDetection();
  sptr_t<da::ISurveyingViewModel> survey;
  sptr_t<da::IResultController> controller;
  {
    std::lock_guard<std::mutex> models(modelsMutex);
    survey = surveyModel;
    controller = resultController;
  }
  sptr_t<IssuesTask> task =
      foundation::pool_allocate<IssuesTask>(this, survey, controller, sourceManager, progress,
                                            foundation::path_t(getResultFile()), isCacheActual(), external);
  // The slot keeps the engine alive for as long as the task can call it:
  // the task holds only a raw pointer to the engine.
  task->stopSignal.connect([self = sptr_t<RecommendationsEngine>(this)](const BaseLongOperationTask* stopped) {
    self->onIssuesTaskStopped(stopped);
  });
  return scheduler->schedule(task, name);
}

bool RecommendationsEngine::stopTask(bool wait) {
  const sptr_t<IScheduler> scheduler = IScheduler::get();
  if (!scheduler || !scheduler->isRunning()) return false;
  engine_lock_t lock(mutex);
  const std::string name = getTaskName();
  if (!scheduler->hasTask(name)) return false;
  if (wait) {
    scheduler->cancelTaskAndWait(name);
  } else {
    scheduler->cancelTask(name);
    // The cancelled task may still be ending under its name; the next one
    // must not be taken for it.
    ++taskCounter;
  }
  return true;
}

bool RecommendationsEngine::startCollection() {
  collectionRequested.store(true, std::memory_order_release);
  if (!hasIssuesData()) return false;
  stopTask(false);
  return startTask();
}

bool RecommendationsEngine::stopCollection(bool wait) {
  collectionRequested.store(false, std::memory_order_release);
  return stopTask(wait);
}

bool RecommendationsEngine::loadResult() {
  if (!hasIssuesData()) return false;
  stopTask(false);
  return collectionRequested.load(std::memory_order_acquire) ? startTask() : false;
}

bool RecommendationsEngine::closeResult() {
  sptr_t<da::IResultController> controller;
  {
    std::lock_guard<std::mutex> lock(modelsMutex);
    controller = resultController;
  }
  if (controller) {
    if (sptr_t<configuration::ISessionStorage> storage = configuration::ISessionStorage::create(controller->getResultDir(0))) {
      storage->set(cache_actual_key, foundation::variant_t(isCacheActual()));
      storage->save();
    }
  }
  collectionRequested.store(false, std::memory_order_release);
  return stopTask(true);
}

void RecommendationsEngine::onIssuesTaskStopped(const BaseLongOperationTask* task) {
  setCollectionStarted(false);
  const bool ok = task && task->GetCompleteStatus() == da::IViewModelBase::LoadOk;
  cacheActual.store(ok, std::memory_order_release);
  std::string failure;
  if (const auto* issuesTask = dynamic_cast<const IssuesTask*>(task)) {
    lastOrigin.store(static_cast<int>(issuesTask->findingsOrigin()), std::memory_order_release);
    failure = issuesTask->scanFailure();
    lastReportMatches.store(issuesTask->reportMatchesRows(), std::memory_order_release);
  } else {
    lastReportMatches.store(false, std::memory_order_release);
  }
  {
    std::lock_guard<std::mutex> lock(failureMutex);
    lastFailure = failure;
  }
  if (ok) saveRecommendationsSummary();
  collectionFinished(ok);
}

std::string RecommendationsEngine::lastScanFailure() const {
  std::lock_guard<std::mutex> lock(failureMutex);
  return lastFailure;
}

void RecommendationsEngine::onRelatedCollectionsFinished(bool changed) {
  if (changed) cacheActual.store(false, std::memory_order_release);
}

void RecommendationsEngine::cancelOnClose() { stopTask(true); }

void RecommendationsEngine::saveRecommendationsSummary() const {
  sptr_t<da::ISurveyingViewModel> survey;
  sptr_t<da::IResultController> controller;
  {
    std::lock_guard<std::mutex> lock(modelsMutex);
    survey = surveyModel;
    controller = resultController;
  }
  if (!controller || !survey) return;
  boost::shared_ptr<summary_store::SurveyExSummaryData> summary = summary_store::SurveyExSummaryData::create();
  if (!summary) return;

  const sptr_t<da::IDataset> dataset = survey->getDataset(da::BottomUp);
  const sptr_t<da::IDatasetHelper> helper = da::IDatasetHelper::create(dataset);
  if (!helper) return;
  const sptr_t<SummaryLoopsRowVisitor> visitor = foundation::pool_allocate<SummaryLoopsRowVisitor>(dataset);
  helper->visitRows(nullptr, visitor, da::IDatasetHelper::PreVisit, nullptr);
  visitor->getLoopsWithRecommendations(summary, SummaryLoopsRowVisitor::summary_loops,
                                       SummaryLoopsRowVisitor::summary_min_confidence);
  summary_store::SummaryCollection::captureRecommendations(controller->getResultDir(0), summary);
}

void RecommendationsEngine::follow(da::IViewModelBase* model, related_connections_t& connections) {
  connections.finished.disconnect();
  connections.closing.disconnect();
  if (!model) return;
  // The signals of other models may come on any thread; what they reach
  // here is an atomic flag and the locked stop.
  connections.finished = model->collectionFinished.connect([this](bool changed) { onRelatedCollectionsFinished(changed); });
  connections.closing = model->closing.connect([this] { cancelOnClose(); });
}

void RecommendationsEngine::setLoopManager(sptr_t<da::ILoopManager> newLoopManager) { loopManager = newLoopManager; }

void RecommendationsEngine::setSourceManager(sptr_t<da::ISourceManager> newSourceManager) {
  sourceManager = newSourceManager;
}

void RecommendationsEngine::setSurveyModel(sptr_t<da::ISurveyingViewModel> model) {
  // A survey model announces its end and its closing only if the host's
  // object is a view model as well.
  follow(dynamic_cast<da::IViewModelBase*>(model.get()), surveyConnections);
  std::lock_guard<std::mutex> lock(modelsMutex);
  surveyModel = model;
}

void RecommendationsEngine::setCorrectnessModel(sptr_t<da::ICorrectnessViewModel> model) {
  follow(model.get(), correctnessConnections);
  correctnessModel = model;
}

void RecommendationsEngine::setMapModel(sptr_t<da::ICorrectnessViewModel> model) {
  follow(model.get(), mapConnections);
  mapModel = model;
}

sptr_t<da::IRecommendationsModel> createRecommendationsModel() {
  return foundation::pool_allocate<RecommendationsEngine, da::IRecommendationsModel>();
}

}  // namespace data_models2
