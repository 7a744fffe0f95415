// The issues task: report file or scan, cancelling, the counts, and the
// external tool run on a snapshot of the result.

#include "discmodels2/recommendations_model/core/issues_task.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/core/recommendations_engine.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "platform/host_data/host_result_controller.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

namespace fs = std::filesystem;

using namespace test_fakes;
using data_models2::BaseLongOperationTask;
using data_models2::CommonData;
using data_models2::DefaultDumpPolicy;
using data_models2::IDataProvider;
using data_models2::IssuesDumper;
using data_models2::IssuesTask;
using data_models2::RecommendationsEngine;
using data_models2::ScanIssuesRowVisitHandler;
using host_data::HostResultController;
using LoadType = IViewModelBase::LoadType;

class TestableScan : public ScanIssuesRowVisitHandler {
 public:
  TestableScan(std::shared_ptr<IDataProvider> provider, IssueDetectors loop)
      : ScanIssuesRowVisitHandler(std::move(provider), std::move(loop), {}, {}) {}
};

/// Cancels `task` when it sees its first row, so the walk must stop there.
class CancellingDetector : public data_models2::issues::IssueDetector {
 public:
  CancellingDetector() : Detector(nullptr) {}
  bool detect(row_t, data_models2::issues::IssueList) const override {
    ++calls;
    if (task) task->Cancel();
    return false;
  }
  IssuesTask* task = nullptr;
  mutable int calls = 0;
};

/// The task with the scan's detectors replaced by `loopDetector`.
class ScriptedIssuesTask : public IssuesTask {
 public:
  using IssuesTask::IssuesTask;
  std::shared_ptr<data_models2::issues::IssueDetector> loopDetector;

 protected:
  sptr_t<ScanIssuesRowVisitHandler> makeScanHandler() const override {
    // Every row reads; scripted detectors ask the provider nothing else.
    return foundation::pool_allocate<TestableScan>(std::make_shared<StubProvider>(),
                                                   ScanIssuesRowVisitHandler::IssueDetectors{loopDetector});
  }
};

sptr_t<IIssueEx> issue(const std::string& id, int recommendations = 1) {
  auto made = createIssueEx(id, id + " title", id + " text", 1, 1, variant_bag_t());
  for (int i = 0; i < recommendations; ++i) {
    made->addRecommendation(createRecommendationWithConfidence(id + "_rec" + std::to_string(i), "t", "x", 1, 8));
  }
  return made;
}

std::vector<std::string> issueIds(const FakeRow& row) {
  std::vector<std::string> ids;
  for (const auto& i : row.issues) ids.push_back(i ? i->getStringId() : "<null>");
  return ids;
}

std::vector<std::string> readLines(const fs::path& file) {
  std::ifstream in(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// A result on disk (proj/run1) whose bottom-up tree is
///   F (function) > L1 (loop) > L2 (innermost loop),   G (function)
/// and an engine for the task to report to.
class IssuesTaskTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resultDir = root / "proj" / "run1";
    fs::create_directories(resultDir);
    std::ofstream(resultDir / "result.json") << "{}\n";
    reportPath = resultDir / "issues.xml";

    dataset->add(f, true);
    dataset->add(l1);
    dataset->add(l2);
    dataset->add(g, true);
    f->addChild(l1);
    l1->addChild(l2);
    model->datasets[BottomUp] = dataset;
    for (const char* name : {"NIMBEX_FAKE_MODE", "NIMBEX_FAKE_LOG", "NIMBEX_FAKE_REPORT", "NIMBEX_FAKE_STARTED"}) {
      ::unsetenv(name);
    }
  }

  sptr_t<ScriptedIssuesTask> makeTask(bool cacheActual, bool external, foundation::IProgress* progress,
                                      bool frozen = false, bool withEngine = true) {
    HostResultController::Contents contents;
    contents.directory = resultDir.string();
    contents.resultFile = (resultDir / "result.json").string();
    contents.frozen = frozen;
    auto task = foundation::pool_allocate<ScriptedIssuesTask>(
        withEngine ? engine.get() : nullptr, model, foundation::pool_allocate<HostResultController>(contents), nullptr,
        progress, foundation::path_t(reportPath.string()), cacheActual, external);
    task->loopDetector = detector;
    task->stopSignal.connect([this](const BaseLongOperationTask* t) { stoppedBy.push_back(t); });
    return task;
  }

  static void run(IssuesTask& task) {
    task.TaskStarted();
    task.DoTask();
    task.TaskFinished();
  }

  IssuesDumper<DefaultDumpPolicy> dumper(const fs::path& file) const {
    IssuesDumper<DefaultDumpPolicy> dumper(dataset, nullptr);
    dumper.setFilename(file.string());
    return dumper;
  }
  /// Writes a report in which L2 holds the issue `id`, then clears the rows.
  void writeReport(const fs::path& file, const std::string& id) {
    l2->issues = {issue(id)};
    ASSERT_TRUE(dumper(file).dumpIssuesReport());
    clearRows();
  }
  /// What L2 holds according to the report file on disk, or "<none>".
  std::string reportedIssueOfL2() {
    clearRows();
    if (!dumper(reportPath).assignIssuesReport()) return "<none>";
    return l2->issues.empty() ? "<empty>" : l2->issues.front()->getStringId();
  }
  std::string issueOfL2() const { return l2->issues.empty() ? "<none>" : l2->issues.front()->getStringId(); }

  void clearRows() {
    for (auto* row : {f.get(), l1.get(), l2.get(), g.get()}) row->issues.clear();
  }

  fs::path snapshotDir() const { return root / "proj" / IssuesTask::kSnapshotName; }

  TempDir tmp;
  fs::path root = tmp.path, resultDir, reportPath;
  sptr_t<FakeRow> f = makeRow(1, 0);
  sptr_t<FakeRow> l1 = makeRow(2, IMetadata::TypeLoop);
  sptr_t<FakeRow> l2 = makeRow(3, IMetadata::TypeLoop | IMetadata::TypeInnermost);
  sptr_t<FakeRow> g = makeRow(4, 0);
  sptr_t<FakeDataset> dataset = foundation::pool_allocate<FakeDataset>(BottomUp);
  sptr_t<FakeViewModel> model = foundation::pool_allocate<FakeViewModel>();
  sptr_t<RecommendationsEngine> engine = foundation::pool_allocate<RecommendationsEngine>();
  std::shared_ptr<ScriptedIssueDetector> detector = std::make_shared<ScriptedIssueDetector>();
  std::vector<const BaseLongOperationTask*> stoppedBy;
};

TEST_F(IssuesTaskTest, ChoosesBetweenReportFileAndScan) {
  enum class File { None, Valid, Garbage };
  struct Case {
    const char* name;
    File file;
    bool cacheActual, frozen, withEngine, expectScan;
    const char* expectedOnL2;    // after the task
    const char* expectedReport;  // what the file says afterwards
  };
  const Case cases[] = {
      {"no file: scan and write it", File::None, false, false, true, true, "scanned", "scanned"},
      {"file known to be actual: load", File::Valid, true, false, true, false, "stored", "stored"},
      {"frozen result: load", File::Valid, false, true, true, false, "stored", "stored"},
      {"stale file is ignored and overwritten", File::Valid, false, false, true, true, "scanned", "scanned"},
      // Not a report of ours: it may be the user's, and is never overwritten.
      {"file that will not load: scan", File::Garbage, true, false, true, true, "scanned", "<none>"},
      {"no engine: nothing at all", File::None, false, false, false, false, "<none>", "<none>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(reportPath);
    clearRows();
    if (c.file == File::Valid) writeReport(reportPath, "stored");
    if (c.file == File::Garbage) std::ofstream(reportPath) << "<not-a-report";
    detector->calls = 0;
    detector->byRow = {{l2.get(), {issue("scanned")}}};
    engine->setCollectionStarted(false);

    RecordingProgress progress;
    auto task = makeTask(c.cacheActual, false, &progress, c.frozen, c.withEngine);
    run(*task);

    EXPECT_EQ(detector->calls > 0, c.expectScan);
    // Only a scan counts; a loaded report leaves the counts alone.
    EXPECT_EQ(task->lastIssueCount() > 0, c.expectScan);
    EXPECT_EQ(issueOfL2(), c.expectedOnL2);
    EXPECT_EQ(task->GetCompleteStatus(), IViewModelBase::LoadOk);
    EXPECT_EQ(progress.title(), "Issues progress");
    // The total is fixed before DoTask finds out whether the file loads.
    const bool loads = c.file != File::None && (c.cacheActual || c.frozen);
    EXPECT_EQ(progress.totals(), std::vector<double>{loads ? 4.0 : 12.0});
    EXPECT_EQ(progress.finishes(), 1);
    EXPECT_EQ(reportedIssueOfL2(), c.expectedReport);
  }
}

TEST_F(IssuesTaskTest, CancellingStopsTheScanAndWritesNoReport) {
  struct Case {
    const char* name;
    bool nullProgress, beforeDoTask;
  };
  const Case cases[] = {
      {"during the walk, given progress", false, false},
      {"during the walk, no progress given", true, false},
      {"before DoTask, given progress", false, true},
      {"before DoTask, no progress given", true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(reportPath);
    stoppedBy.clear();
    RecordingProgress progress;
    auto task = makeTask(false, false, c.nullProgress ? nullptr : &progress);
    auto cancelling = std::make_shared<CancellingDetector>();
    task->loopDetector = cancelling;
    if (c.beforeDoTask) {
      task->Cancel();
    } else {
      cancelling->task = task.get();
    }
    run(*task);

    // L2 is the first row of the walk; the walk must not reach L1.
    EXPECT_LE(cancelling->calls, 1);
    EXPECT_TRUE(task->IsCanceled());
    EXPECT_EQ(task->GetCompleteStatus(), IViewModelBase::LoadCanceled);
    EXPECT_FALSE(fs::exists(reportPath));
    ASSERT_EQ(stoppedBy.size(), 1u);
    EXPECT_EQ(stoppedBy.front(), task.get());
    if (!c.nullProgress) {
      EXPECT_TRUE(progress.isCanceled());
      EXPECT_EQ(progress.finishes(), 1);
    }
  }
}

TEST_F(IssuesTaskTest, CountsWhatTheRowsHoldAfterLifting) {
  // G's null entry counts for nothing.
  g->issues = {nullptr};
  auto quiet = makeTask(false, false, nullptr);
  run(*quiet);
  EXPECT_EQ(quiet->lastIssueCount(), 0u);
  EXPECT_EQ(quiet->lastRecommendationCount(), 0u);

  // L2 finds a (2 recommendations), L1 finds b (1) and lifts a, F lifts both:
  // 1 + 2 + 2 issues, 2 + 3 + 3 recommendations.
  detector->byRow = {{l2.get(), {issue("a", 2)}}, {l1.get(), {issue("b", 1)}}};
  auto task = makeTask(false, false, nullptr);
  run(*task);
  EXPECT_EQ(task->lastIssueCount(), 5u);
  EXPECT_EQ(task->lastRecommendationCount(), 8u);
  EXPECT_EQ(issueIds(*f), (std::vector<std::string>{"a", "b"}));
}

TEST_F(IssuesTaskTest, ExternalToolRunsOnAFreshSnapshotAndItsReportIsTakenOver) {
  struct Case {
    const char* name;
    const char* mode;
    LoadType status;
    const char* expectedOnL2;
  };
  const Case cases[] = {
      {"tool writes the report", "copy", IViewModelBase::LoadOk, "from_tool"},
      {"tool writes nothing", "silent", IViewModelBase::LoadFailed, "<none>"},
  };
  const fs::path canned = root / "canned.xml";
  writeReport(canned, "from_tool");
  const fs::path log = root / "tool.log";
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(reportPath);
    fs::remove(log);
    clearRows();
    // What a killed run may have left behind.
    fs::create_directories(snapshotDir());
    std::ofstream(snapshotDir() / "stale") << "x";
    ::setenv("NIMBEX_FAKE_MODE", c.mode, 1);
    ::setenv("NIMBEX_FAKE_REPORT", canned.c_str(), 1);
    ::setenv("NIMBEX_FAKE_LOG", log.c_str(), 1);

    auto task = makeTask(false, true, nullptr);
    run(*task);

    EXPECT_EQ(detector->calls, 0);
    EXPECT_EQ(task->GetCompleteStatus(), c.status);
    EXPECT_EQ(issueOfL2(), c.expectedOnL2);
    EXPECT_FALSE(fs::exists(snapshotDir()));
    // The arguments, then the files of the experiment as the tool saw it: a
    // fresh copy of the result, without the left-over.
    const std::vector<std::string> expected = {
        "-report", "issues", "-project-dir", (root / "proj").string(), "--exp-dir", IssuesTask::kSnapshotName,
        "-format=xml", "--report-output", reportPath.string(), "--", "result.json",
    };
    EXPECT_EQ(readLines(log), expected);
  }
}

TEST_F(IssuesTaskTest, CancellingEndsTheToolAndRemovesTheSnapshot) {
  const fs::path started = root / "started";
  ::setenv("NIMBEX_FAKE_MODE", "hang", 1);
  ::setenv("NIMBEX_FAKE_STARTED", started.c_str(), 1);
  writeReport(root / "unused.xml", "unused");

  auto task = makeTask(false, true, nullptr);
  task->TaskStarted();
  std::thread worker([&task] { task->DoTask(); });
  // Bounded, so that a tool that never starts fails the test instead of
  // hanging it.
  for (int i = 0; i < 2000 && !fs::exists(started); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  const bool toolRan = fs::exists(started);
  EXPECT_TRUE(fs::exists(snapshotDir()));
  task->Cancel();
  worker.join();
  task->TaskFinished();

  ASSERT_TRUE(toolRan);
  pid_t child = 0;
  std::ifstream(started) >> child;
  ASSERT_GT(child, 0);
  // Ended and reaped, not left running.
  EXPECT_EQ(::kill(child, 0), -1);
  EXPECT_EQ(errno, ESRCH);
  EXPECT_EQ(task->GetCompleteStatus(), IViewModelBase::LoadCanceled);
  EXPECT_FALSE(fs::exists(snapshotDir()));
  EXPECT_FALSE(fs::exists(reportPath));
  EXPECT_TRUE(l2->issues.empty());
}

}  // namespace
