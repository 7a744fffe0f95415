#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_source_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "platform/foundation/path.h"
#include "platform/foundation/progress.h"
#include "platform/model_support/dummy_progress.h"
#include "platform/model_support/issues_dumper.h"
#include "platform/model_support/task.h"

namespace data_models2 {

class RecommendationsEngine;
class ScanIssuesRowVisitHandler;

/// The long operation that gives the rows of one result their findings.
///
/// It takes them, in this order of preference, from the report file of an
/// earlier run ("issues.xml" in the result directory) when that file may be
/// trusted, from the command-line tool "nimbex-cl" run on a snapshot of the
/// result when the engine asks for the external path, or from a scan of the
/// bottom-up tree in this process. A complete scan rewrites the report file;
/// a cancelled one writes nothing.
///
/// Made with foundation::pool_allocate by the engine and run once by the
/// scheduler: TaskStarted, DoTask and TaskFinished on one worker thread.
/// Cancel may come from any thread and only sets flags, here and in the
/// progress object, which the dataset walker and the wait for the tool poll.
/// The engine and the progress object are borrowed and must outlive the task.
class IssuesTask : public BaseLongOperationTask {
 public:
  /// Where the findings of a task came from.
  enum class FindingsOrigin : int { None = 0, ReportFile = 1, Scan = 2, ExternalTool = 3 };

  /// File name of the command-line tool, looked for beside the running program.
  static constexpr const char* kToolName = "nimbex-cl";
  /// The experiment name of the snapshot that the tool works on.
  static constexpr const char* kSnapshotName = "__temp_issue_detection__";

  /// A null `engine` makes DoTask do nothing; a null `progress` is replaced
  /// by a private object that still carries the cancel flag.
  IssuesTask(const RecommendationsEngine* engine,
             foundation::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel,
             foundation::sptr_t<data_abstractions2::IResultController> resultController,
             foundation::sptr_t<data_abstractions2::ISourceManager> sourceManager, foundation::IProgress* progress,
             const foundation::path_t& reportPath, bool cacheActual, bool useExternalDetection);
  ~IssuesTask() override;

  /// Marks the engine's collection as running and starts the progress.
  void TaskStarted() override;
  /// Loads, runs the tool or scans; see the class comment.
  void DoTask() override;
  /// Sets the outcome and raises stopSignal.
  ///
  /// LoadCanceled when cancelled; LoadOk after a scan, whether or not the
  /// report file could be written; on the external path LoadNoData without a
  /// bottom-up tree, else LoadOk when the tool's report was taken over and
  /// LoadFailed when not (also when an older file was loaded instead), and
  /// LoadFailed after a scan that failed on a row.
  void TaskFinished() override;
  void Cancel() override;

  /// The report file may be used instead of a scan: it exists and the result
  /// is frozen or the file is known to match the data.
  bool canLoadFromFile() const;
  /// Runs the detectors over the bottom-up tree and counts what the rows
  /// hold afterwards (lifted findings count on every row that holds them).
  void scanForIssues() const;
  /// Snapshots the result, runs the tool on the snapshot with the report
  /// going to the report file, waits for it (ending it when cancelled) and
  /// removes the snapshot. Neither the tool's exit status nor its output is
  /// looked at: the report file is the one answer.
  void startPythonIssueDetection();

  /// Counts of the last scanForIssues; 0 before one, and on the other paths.
  unsigned lastIssueCount() const { return lastIssueCount_.load(std::memory_order_acquire); }
  unsigned lastRecommendationCount() const { return lastRecommendationCount_.load(std::memory_order_acquire); }
  /// The way DoTask took; None before it ran or when it did nothing.
  FindingsOrigin findingsOrigin() const { return origin_.load(std::memory_order_acquire); }
  /// The report file holds exactly the findings now on the rows: it was
  /// read, or written, by this task.
  bool reportMatchesRows() const { return reportMatches_.load(std::memory_order_acquire); }
  /// Why the scan failed, naming the row; empty when it did not. A failed
  /// scan finishes the task as LoadFailed and writes no report. Valid once
  /// the task has stopped.
  std::string scanFailure() const;

 protected:
  /// The driver of the scan's walk. Tests give it detectors of their own.
  virtual foundation::sptr_t<ScanIssuesRowVisitHandler> makeScanHandler() const;

 private:
  /// Deletes the experiment in `directory` through a controller of its own,
  /// so that the task's controller stays on the result. Silent when any step
  /// has nothing to give.
  void removeSnapshot(const std::string& directory) const;

  const RecommendationsEngine* engine;
  foundation::sptr_t<data_abstractions2::ISurveyingViewModel> m_hotspotsModel;
  foundation::sptr_t<data_abstractions2::IResultController> resultController;
  foundation::sptr_t<data_abstractions2::ISourceManager> sourceManager;
  DummyProgress dummyProgress;
  foundation::IProgress* progress;
  foundation::path_t reportPath;
  IssuesDumper<DefaultDumpPolicy> dumper;
  bool useExternalDetection;
  bool cacheActual;
  bool reportOk = false;

  // Read by whoever holds the task after it finished, possibly on another
  // thread than the one that scanned.
  mutable std::atomic<unsigned> lastIssueCount_{0};
  mutable std::atomic<unsigned> lastRecommendationCount_{0};
  std::atomic<FindingsOrigin> origin_{FindingsOrigin::None};
  std::atomic<bool> reportMatches_{false};
  mutable std::mutex failureMutex_;
  mutable std::string scanFailure_;
};

}  // namespace data_models2
