#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include <boost/signals2/connection.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include "data_abstractions2/i_recommendations_model.h"
#include "data_abstractions2/i_result_controller.h"
#include "platform/foundation/signal.h"
#include "platform/foundation/sptr.h"

namespace data_models2 {

class BaseLongOperationTask;

/// The object the host holds of this library: it takes the result and the
/// models, runs one IssuesTask per collection on the scheduler under a name
/// of its own task group, follows the task's end, and tells the host through
/// `collectionStarted` and `collectionFinished`.
///
/// Across sessions it remembers, in the result's session storage under
/// "issues_cache_actual", whether the report "issues.xml" still matches the
/// data; when it does, the next task reads the report instead of scanning.
/// The flag is written as a bool at closeResult; init reads any integer kind
/// as well, non-zero meaning true, so that storages written by older hosts
/// (which kept the flag as an integer) still count.
///
/// It reports no errors through the view-model interface: every operation
/// that finds nothing to work on answers false, and the data queries answer
/// false.
///
/// Threads: all operations are called on the host's thread. The task's
/// phases, onIssuesTaskStopped, the summary and both signals run on the
/// scheduler's worker. `mutex` is held for the whole of starting and stopping
/// a task, also while waiting for a task to end; the worker never takes it,
/// so the two cannot block each other. A slot of `collectionFinished` may
/// start a new collection; it must not wait for one.
///
/// Lifetime: a scheduled task holds a reference to the engine until it is
/// released, so an engine that the host drops while a task runs lives until
/// that task has ended. The host still calls closeResult or
/// stopCollection(true) first to get the result's files settled.
class RecommendationsEngine : public foundation::subscriber_base_t, public data_abstractions2::IRecommendationsModel {
 public:
  static constexpr const char* report_file_name = "issues.xml";
  static constexpr const char* cache_actual_key = "issues_cache_actual";
  static constexpr const char* external_feature = "python_issues";
  static constexpr const char* task_group = "recommendations";

  RecommendationsEngine();
  ~RecommendationsEngine() override;

  int get_type() const override { return ModelRecommendations; }

  /// Takes over `controller`, `messenger` and `progress`, and reads the
  /// cache flag from the result's session storage. The name and the
  /// properties are not used. Always true.
  bool init(data_abstractions2::sptr_t<data_abstractions2::IResultController> controller, const std::string& name,
            data_abstractions2::sptr_t<data_abstractions2::IPropertyStorage> properties,
            data_abstractions2::IMessenger* messenger, foundation::IProgress* progress) override;
  /// Writes the cache flag to the session storage, drops the host's wish
  /// for a collection and stops the task, waiting for it.
  bool closeResult() override;
  /// Restarts the collection on fresh data, but only for a host that has
  /// asked for one.
  bool loadResult() override;
  /// "issues.xml" in the result directory; empty without a result.
  std::string getResultFile() const override;
  /// Records the wish for findings even when there is nothing to work on
  /// yet, so that a later loadResult with data starts the task.
  bool startCollection() override;
  bool stopCollection(bool wait) override;

  bool isDataCollected() const override { return false; }
  bool isDataEmpty() const override { return false; }
  bool isDataCollected(const data_abstractions2::DataSource&) const override { return false; }
  bool isDataEmpty(const data_abstractions2::DataSource&) const override { return false; }
  int getErrorCount() const override { return 0; }
  data_abstractions2::sptr_t<data_abstractions2::IModelError> getError(int) const override { return nullptr; }

  /// The group becomes `parent` + "/recommendations", or "recommendations"
  /// for an empty parent.
  void setTasksParentGroupName(const std::string& parent) override;
  std::string getTasksGroupName() const override;

  void setLoopManager(data_abstractions2::sptr_t<data_abstractions2::ILoopManager> loopManager) override;
  void setSourceManager(data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager) override;
  void setSurveyModel(data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel) override;
  void setCorrectnessModel(data_abstractions2::sptr_t<data_abstractions2::ICorrectnessViewModel> model) override;
  void setMapModel(data_abstractions2::sptr_t<data_abstractions2::ICorrectnessViewModel> model) override;

  // Called by the running IssuesTask, on the worker.
  /// True from the task's start to the engine's handling of its end.
  bool isCollectionStarted() const;
  void setCollectionStarted(bool started) const;
  /// The signal the task raises when it starts: `collectionStarted`.
  foundation::signal_t<>& collectionStartedSignal() const;

  /// The survey model, the result and the collection can be worked on.
  bool hasIssuesData() const;
  /// The name the next task is scheduled under, or the current one runs
  /// under: "<group>/recommendations<counter>".
  std::string getTaskName() const;
  /// Whether the stored report is known to match the data.
  bool isCacheActual() const { return cacheActual.load(std::memory_order_acquire); }
  bool isCollectionRequested() const { return collectionRequested.load(std::memory_order_acquire); }
  /// Where the findings of the last finished task came from, as
  /// IssuesTask::FindingsOrigin; 0 before any task finished.
  int lastFindingsOrigin() const { return lastOrigin.load(std::memory_order_acquire); }
  /// Why the scan of the last finished task failed, naming the row; empty
  /// when it did not fail.
  std::string lastScanFailure() const;
  /// The last finished task read or wrote the report file, which therefore
  /// holds exactly the findings on the rows.
  bool lastReportMatchesRows() const { return lastReportMatches.load(std::memory_order_acquire); }

 protected:
  /// Schedules a new task, for a host that wants findings. False when the
  /// scheduler does not run or the host wants none.
  bool startTask();
  /// Cancels the task under the current name. Without `wait`, the counter
  /// moves on: the old task may still be ending under the old name.
  bool stopTask(bool wait);

  /// The end of a task, on its thread: the verdict on the report, the
  /// summary of a task that ended well, and `collectionFinished`.
  void onIssuesTaskStopped(const BaseLongOperationTask* task);
  /// Another collection on the result ended; changed data makes the
  /// stored report stale.
  void onRelatedCollectionsFinished(bool changed);
  void cancelOnClose();
  /// Stores the hottest loops with confident recommendations in the summary
  /// store. A courtesy: nothing that fails here changes the task's outcome.
  void saveRecommendationsSummary() const;

 private:
  struct related_connections_t {
    boost::signals2::scoped_connection finished;
    boost::signals2::scoped_connection closing;
  };
  /// Follows `model`'s end of collection and its closing, dropping what
  /// `connections` followed before. A null model is followed by nothing.
  void follow(data_abstractions2::IViewModelBase* model, related_connections_t& connections);

  std::atomic<bool> collectionRequested{false};
  // Written by the task's thread and read by the host's.
  mutable std::atomic<bool> collectionRunning{false};
  data_abstractions2::sptr_t<data_abstractions2::ILoopManager> loopManager;
  data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager;
  // The survey model and the result are read on the worker for the summary
  // while the host may replace them: both are guarded by modelsMutex.
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel;
  data_abstractions2::sptr_t<data_abstractions2::ICorrectnessViewModel> correctnessModel;
  data_abstractions2::sptr_t<data_abstractions2::ICorrectnessViewModel> mapModel;
  foundation::IProgress* progress = nullptr;
  data_abstractions2::IMessenger* messenger = nullptr;
  data_abstractions2::sptr_t<data_abstractions2::IResultController> resultController;
  std::string tasksGroupName;
  std::atomic<bool> cacheActual{false};
  std::atomic<int> lastOrigin{0};
  std::atomic<bool> lastReportMatches{false};
  mutable std::mutex failureMutex;
  std::string lastFailure;
  mutable boost::recursive_mutex mutex;
  int taskCounter = 0;

  mutable std::mutex modelsMutex;
  related_connections_t surveyConnections;
  related_connections_t correctnessConnections;
  related_connections_t mapConnections;
};

/// The library's entry point: a new engine with one reference.
data_abstractions2::sptr_t<data_abstractions2::IRecommendationsModel> createRecommendationsModel();

}  // namespace data_models2
