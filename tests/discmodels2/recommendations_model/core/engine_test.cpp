// The engine on a real result: the road from startCollection to
// collectionFinished, the report reused across sessions, stopping and
// restarting, and the related models. Tasks run on the process-wide
// scheduler; the tests wait on the engine's signals and hold tasks at chosen
// points through the started signal and the progress object, never by time.

#include "discmodels2/recommendations_model/core/recommendations_engine.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/configuration/session_storage.h"
#include "platform/host_data/result_loader.h"
#include "platform/host_data/session_seed.h"
#include "platform/model_support/scheduler.h"
#include "platform/summary_store/summary_collection.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

namespace da = data_abstractions2;
using data_models2::RecommendationsEngine;
using foundation::sptr_t;
using foundation::variant_t;
using test_fakes::kHangGuard;
using test_fakes::RecordingProgress;
using test_fakes::TempDir;

std::string exampleResultText() {
  std::ifstream in(std::string(NIMBEX_TEST_SOURCE_ROOT) + "/examples/basic/result.json");
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

/// What the engine announced, in order, with waits for it. When asked, it
/// holds the next task that raises collectionStarted inside its
/// TaskStarted until the test opens the gate.
class Recorder {
 public:
  void attach(da::IRecommendationsModel& model) {
    connections_.emplace_back(model.collectionStarted.connect([this] {
      std::unique_lock<std::mutex> lock(mutex_);
      ++started_;
      if (!hold_ || entered_) return;
      entered_ = true;
      changed_.notify_all();
      changed_.wait_for(lock, kHangGuard, [&] { return open_; });
    }));
    connections_.emplace_back(model.collectionFinished.connect([this](bool actual) {
      std::lock_guard<std::mutex> lock(mutex_);
      finished_.push_back(actual);
      changed_.notify_all();
    }));
  }
  /// The verdicts of the first `count` collections that finished.
  std::vector<bool> waitFinished(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kHangGuard, [&] { return finished_.size() >= count; }))
        << "collectionFinished raised " << finished_.size() << " times, expected " << count;
    return finished_;
  }
  std::vector<bool> finished() {
    std::lock_guard<std::mutex> lock(mutex_);
    return finished_;
  }
  int started() {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_;
  }
  void holdNextStart() {
    std::lock_guard<std::mutex> lock(mutex_);
    hold_ = true;
  }
  void waitEntered() {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kHangGuard, [&] { return entered_; }));
  }
  void open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int started_ = 0;
  bool hold_ = false, entered_ = false, open_ = false;
  std::vector<bool> finished_;
  std::vector<boost::signals2::scoped_connection> connections_;
};

/// A survey model that is also a view model, as a host's may be: it passes
/// the data through and has the signals.
class ViewSurveyModel : public da::ISurveyingViewModel, public da::IViewModelBase {
 public:
  explicit ViewSurveyModel(sptr_t<da::ISurveyingViewModel> inner) : inner_(std::move(inner)) {}
  sptr_t<da::IDataset> getDataset(int kind) const override { return inner_->getDataset(kind); }
  sptr_t<da::ILoopManager> getLoopManager() const override { return inner_->getLoopManager(); }
  foundation::generic_iterator_t<da::RoofItem> getRoofItems() const override { return inner_->getRoofItems(); }
  bool getFileLocators(int kind, std::vector<da::FileLocator>& out) const override {
    return inner_->getFileLocators(kind, out);
  }
  da::ProgramMetrics getProgramMetrics() const override { return inner_->getProgramMetrics(); }
  sptr_t<da::IAVX512FreqThrottlingModel> getAVX512FreqThrottlingModel() const override {
    return inner_->getAVX512FreqThrottlingModel();
  }
  da::CodeBlock getCodeBlock(int kind, const da::row_t& row) const override { return inner_->getCodeBlock(kind, row); }
  bool getInstructionMix(const da::row_t& row, int kind, da::InstructionMix& mix) const override {
    return inner_->getInstructionMix(row, kind, mix);
  }
  bool getRowRoofline(const da::row_t& row, da::RowRoofline& roofline) const override {
    return inner_->getRowRoofline(row, roofline);
  }

 private:
  sptr_t<da::ISurveyingViewModel> inner_;
};

/// One session of the host on a result directory: the loaded models and an
/// engine that has them.
struct Session {
  Session(const std::string& dir, foundation::IProgress* progress = nullptr, bool viewSurvey = false) {
    loaded = host_data::loadResultText(exampleResultText(), dir);
    EXPECT_TRUE(loaded.ok()) << loaded.error();
    std::string error;
    EXPECT_TRUE(host_data::seedSessionStorage(loaded.models(), error)) << error;
    model = data_models2::createRecommendationsModel();
    engine = static_cast<RecommendationsEngine*>(model.get());
    recorder.attach(*model);
    EXPECT_TRUE(model->init(loaded.models().resultController, "", nullptr, nullptr, progress));
    survey = loaded.models().surveyModel;
    if (viewSurvey) survey = foundation::pool_allocate<ViewSurveyModel, da::ISurveyingViewModel>(survey);
    model->setSurveyModel(survey);
  }
  ~Session() {
    // No task may outlive the test's objects.
    if (model) model->stopCollection(true);
  }

  sptr_t<da::IDataset> bottomUp() const { return loaded.models().surveyModel->getDataset(da::BottomUp); }
  std::size_t rowCount() const { return bottomUp()->rowCount(); }
  /// Issue ids per row id, as the rows hold them now.
  std::map<std::uint64_t, std::vector<std::string>> findings() const { return test_fakes::issueIdsByRow(bottomUp()); }

  host_data::LoadResult loaded = host_data::LoadResult::failure("not loaded");
  sptr_t<da::IRecommendationsModel> model;
  RecommendationsEngine* engine = nullptr;
  sptr_t<da::ISurveyingViewModel> survey;
  Recorder recorder;
};

variant_t storedFlag(const std::string& dir) {
  auto storage = configuration::ISessionStorage::create(dir);
  return storage ? storage->get(RecommendationsEngine::cache_actual_key) : variant_t();
}

void storeFlag(const std::string& dir, const variant_t& value) {
  auto storage = configuration::ISessionStorage::create(dir);
  ASSERT_TRUE(storage->set(RecommendationsEngine::cache_actual_key, value));
  ASSERT_TRUE(storage->save());
}

TEST(RecommendationsEngine, CollectionScansReportsAndTheNextSessionReadsTheReport) {
  TempDir dir;
  std::map<std::uint64_t, std::vector<std::string>> scanned;
  {
    RecordingProgress progress;
    Session first(dir.str(), &progress);
    ASSERT_FALSE(first.engine->isCacheActual());
    ASSERT_TRUE(first.model->startCollection());
    EXPECT_EQ((std::vector<bool>{true}), first.recorder.waitFinished(1));
    EXPECT_EQ(1, first.recorder.started());
    EXPECT_FALSE(first.engine->isCollectionStarted());
    EXPECT_TRUE(first.engine->isCacheActual());
    EXPECT_TRUE(first.engine->isCollectionRequested());
    // A scan: the progress covers three walks of the tree.
    ASSERT_EQ((std::vector<double>{3.0 * first.rowCount()}), progress.totals());
    EXPECT_TRUE(dir.has(RecommendationsEngine::report_file_name));
    EXPECT_EQ(dir.str() + "/issues.xml", first.model->getResultFile());
    // The summary is there, whatever the detectors found, and lists only
    // what it promises.
    auto summary = summary_store::SummaryCollection::loadRecommendations(dir.str());
    ASSERT_TRUE(summary);
    EXPECT_LE(summary->loops().size(), 5u);
    for (const auto& loop : summary->loops()) {
      EXPECT_FALSE(loop.recommendations->empty());
      for (const auto& rec : loop.recommendations->entries()) EXPECT_GE(rec.confidence, 3) << rec.id;
    }
    scanned = first.findings();
    // Else the comparisons below would hold for a report that carries nothing.
    ASSERT_TRUE(std::any_of(scanned.begin(), scanned.end(), [](const auto& row) { return !row.second.empty(); }));
    // Nothing runs any more, so there is nothing to stop; the flag is kept
    // all the same, as a bool.
    EXPECT_FALSE(first.model->closeResult());
    EXPECT_FALSE(first.engine->isCollectionRequested());
    EXPECT_EQ(variant_t(true), storedFlag(dir.str()));
  }

  RecordingProgress progress;
  Session second(dir.str(), &progress);
  EXPECT_TRUE(second.engine->isCacheActual());
  ASSERT_TRUE(second.model->startCollection());
  EXPECT_EQ((std::vector<bool>{true}), second.recorder.waitFinished(1));
  // Loading walks the tree once; the fresh rows got the first session's
  // findings from the file.
  EXPECT_EQ((std::vector<double>{1.0 * second.rowCount()}), progress.totals());
  EXPECT_EQ(scanned, second.findings());
  second.model->closeResult();

  // Data changed by another collection makes the report stale: the third
  // session scans again.
  RecordingProgress thirdProgress;
  Session third(dir.str(), &thirdProgress);
  auto correctness = foundation::pool_allocate<da::ICorrectnessViewModel>();
  third.model->setCorrectnessModel(correctness);
  ASSERT_TRUE(third.engine->isCacheActual());
  correctness->collectionFinished(true);
  ASSERT_TRUE(third.model->startCollection());
  EXPECT_EQ((std::vector<bool>{true}), third.recorder.waitFinished(1));
  EXPECT_EQ((std::vector<double>{3.0 * third.rowCount()}), thirdProgress.totals());
  EXPECT_EQ(scanned, third.findings());
}

TEST(RecommendationsEngine, StoredFlagIsReadFromBoolsAndIntegersOnly) {
  // Nothing stored, bools, integers of any width, and what is neither.
  const std::pair<variant_t, bool> cases[] = {
      {variant_t(), false},         {variant_t(true), true},           {variant_t(false), false},
      {variant_t(std::int64_t{1}), true}, {variant_t(std::uint32_t{5}), true}, {variant_t(std::uint8_t{0}), false},
      {variant_t("true"), false},   {variant_t(1.0), false},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    const auto& [stored, actual] = cases[i];
    TempDir dir;
    if (!stored.empty()) storeFlag(dir.str(), stored);
    Session s(dir.str());
    EXPECT_EQ(actual, s.engine->isCacheActual());
  }
  // No result, or one whose directory is gone: nothing to trust.
  auto model = data_models2::createRecommendationsModel();
  auto* engine = static_cast<RecommendationsEngine*>(model.get());
  EXPECT_TRUE(model->init(nullptr, "", nullptr, nullptr, nullptr));
  EXPECT_FALSE(engine->isCacheActual());
  EXPECT_FALSE(model->closeResult());
}

// Stopping in the middle of the walk, by the host or because the survey
// model closes: the task ends as cancelled, and neither the report nor the
// summary is written.
TEST(RecommendationsEngine, StoppingDuringTheScanLeavesNoReport) {
  enum How { Waiting, NotWaiting, SurveyClosing };
  for (How how : {Waiting, NotWaiting, SurveyClosing}) {
    SCOPED_TRACE(how);
    TempDir dir;
    RecordingProgress progress(/*holdAtStep=*/1);
    Session s(dir.str(), &progress, /*viewSurvey=*/how == SurveyClosing);
    ASSERT_TRUE(s.model->startCollection());
    ASSERT_TRUE(progress.waitHeld());
    const std::string name = s.engine->getTaskName();
    if (how == SurveyClosing) {
      // A related model that closes stops the task and waits for it.
      dynamic_cast<da::IViewModelBase*>(s.survey.get())->closing();
      EXPECT_EQ((std::vector<bool>{false}), s.recorder.finished());
    } else {
      ASSERT_TRUE(s.model->stopCollection(how == Waiting));
    }
    if (how == Waiting) {
      // The task has ended before the call returned, and its name stays
      // free for the next one.
      EXPECT_EQ((std::vector<bool>{false}), s.recorder.finished());
      EXPECT_FALSE(data_models2::IScheduler::get()->hasTask(name));
      EXPECT_EQ(name, s.engine->getTaskName());
    } else if (how == NotWaiting) {
      EXPECT_NE(name, s.engine->getTaskName());
      EXPECT_EQ((std::vector<bool>{false}), s.recorder.waitFinished(1));
      data_models2::IScheduler::get()->waitForTask(name);
    }
    EXPECT_LT(progress.steps(), static_cast<int>(s.rowCount()));
    EXPECT_FALSE(dir.has(RecommendationsEngine::report_file_name));
    EXPECT_FALSE(dir.has(summary_store::SummaryCollection::file_name));
    EXPECT_FALSE(s.engine->isCacheActual());
    EXPECT_FALSE(s.engine->isCollectionStarted());
    // Closing is not the host's withdrawal: it may start again.
    EXPECT_EQ(how == SurveyClosing, s.engine->isCollectionRequested());
  }
}

TEST(RecommendationsEngine, SecondStartCancelsTheFirstAndTakesTheNextName) {
  TempDir dir;
  Session s(dir.str());
  s.recorder.holdNextStart();
  const std::string first = s.engine->getTaskName();
  ASSERT_TRUE(s.model->startCollection());
  s.recorder.waitEntered();

  ASSERT_TRUE(s.model->startCollection());
  EXPECT_EQ("recommendations/recommendations1", s.engine->getTaskName());
  EXPECT_TRUE(data_models2::IScheduler::get()->hasTask(first));

  // The second task runs to its end while the first is held; the first,
  // let go, ends as cancelled, without a report of its own.
  EXPECT_EQ((std::vector<bool>{true}), s.recorder.waitFinished(1));
  EXPECT_TRUE(dir.has(RecommendationsEngine::report_file_name));
  s.recorder.open();
  EXPECT_EQ((std::vector<bool>{true, false}), s.recorder.waitFinished(2));
  data_models2::IScheduler::get()->waitForTask(first);
  // One collection from the host's view: the second task found it running.
  EXPECT_EQ(1, s.recorder.started());
  // The last word was the cancelled task's.
  EXPECT_FALSE(s.engine->isCacheActual());
}

TEST(RecommendationsEngine, WishForACollectionWaitsForTheData) {
  TempDir dir;
  auto loaded = host_data::loadResultText(exampleResultText(), dir.str());
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  auto model = data_models2::createRecommendationsModel();
  auto* engine = static_cast<RecommendationsEngine*>(model.get());
  Recorder recorder;
  recorder.attach(*model);

  // No result and no survey model yet.
  EXPECT_FALSE(model->startCollection());
  EXPECT_FALSE(model->loadResult());
  ASSERT_TRUE(model->init(loaded.models().resultController, "", nullptr, nullptr, nullptr));
  EXPECT_FALSE(model->startCollection());
  model->setSurveyModel(loaded.models().surveyModel);

  EXPECT_TRUE(model->loadResult());
  EXPECT_EQ((std::vector<bool>{true}), recorder.waitFinished(1));

  // Once the host no longer wants findings, new data starts nothing.
  model->stopCollection(true);
  EXPECT_FALSE(model->loadResult());
  EXPECT_EQ(1u, recorder.finished().size());

  // A result whose directory is gone offers nothing to scan, but the wish
  // stays for when it comes back.
  auto gone = host_data::loadResultText(exampleResultText(), dir.str() + "/gone");
  ASSERT_TRUE(gone.ok()) << gone.error();
  model->init(gone.models().resultController, "", nullptr, nullptr, nullptr);
  model->setSurveyModel(gone.models().surveyModel);
  EXPECT_FALSE(engine->hasIssuesData());
  EXPECT_FALSE(model->startCollection());
  EXPECT_TRUE(engine->isCollectionRequested());
}

TEST(RecommendationsEngine, TaskNamesLiveUnderTheGroupAndStoppingNoTaskKeepsTheName) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "recommendations"}, {"x", "x/recommendations"}, {"host/analysis", "host/analysis/recommendations"}};
  auto model = data_models2::createRecommendationsModel();
  auto* engine = static_cast<RecommendationsEngine*>(model.get());
  EXPECT_EQ("recommendations", model->getTasksGroupName());
  for (const auto& [parent, group] : cases) {
    model->setTasksParentGroupName(parent);
    EXPECT_EQ(group, model->getTasksGroupName());
    EXPECT_EQ(group + "/recommendations0", engine->getTaskName());
  }
  EXPECT_FALSE(model->stopCollection(false));
  EXPECT_FALSE(model->stopCollection(true));
  EXPECT_EQ("host/analysis/recommendations/recommendations0", engine->getTaskName());
}

TEST(RecommendationsEngine, RelatedCollectionsMakeTheReportStaleOnlyWhenDataChanged) {
  enum Which { Correctness, Map, Survey };
  for (Which which : {Correctness, Map, Survey}) {
    SCOPED_TRACE(which);
    TempDir dir;
    storeFlag(dir.str(), variant_t(true));
    Session s(dir.str(), nullptr, /*viewSurvey=*/which == Survey);
    da::IViewModelBase* related = nullptr;
    sptr_t<da::ICorrectnessViewModel> other = foundation::pool_allocate<da::ICorrectnessViewModel>();
    if (which == Correctness) s.model->setCorrectnessModel(other);
    if (which == Map) s.model->setMapModel(other);
    related = which == Survey ? dynamic_cast<da::IViewModelBase*>(s.survey.get()) : other.get();
    ASSERT_TRUE(related);

    related->collectionFinished(false);
    EXPECT_TRUE(s.engine->isCacheActual());
    related->collectionFinished(true);
    EXPECT_FALSE(s.engine->isCacheActual());

    // A replaced model is no longer listened to.
    s.model->init(s.loaded.models().resultController, "", nullptr, nullptr, nullptr);
    ASSERT_TRUE(s.engine->isCacheActual());
    if (which == Correctness) s.model->setCorrectnessModel(nullptr);
    if (which == Map) s.model->setMapModel(nullptr);
    if (which == Survey) s.model->setSurveyModel(s.loaded.models().surveyModel);
    related->collectionFinished(true);
    EXPECT_TRUE(s.engine->isCacheActual());
  }
}

// Opens the summary step, which otherwise runs only at a task's end.
class SummaryEngine : public RecommendationsEngine {
 public:
  using RecommendationsEngine::saveRecommendationsSummary;
};

TEST(RecommendationsEngine, SummaryListsTheHottestLoopsWithConfidentAdvice) {
  using test_fakes::makeRow;
  TempDir dir;
  auto controller = foundation::pool_allocate<test_fakes::FakeResultController>();
  controller->resultDir = dir.str();
  auto survey = foundation::pool_allocate<test_fakes::FakeViewModel>();
  auto dataset = foundation::pool_allocate<test_fakes::FakeDataset>(da::BottomUp);
  survey->datasets[da::BottomUp] = dataset;
  auto engine = foundation::pool_allocate<SummaryEngine>();
  engine->init(controller, "", nullptr, nullptr, nullptr);
  engine->setSurveyModel(survey);

  // No loop qualifies yet: the summary is written, and empty.
  auto confident = [](const std::string& id, int confidence) {
    auto issue = da::createIssueEx("i", "I", "text", 1, 0, foundation::variant_bag_t());
    issue->addRecommendation(da::createRecommendationWithConfidence(id, id + " title", "text", confidence, 0));
    return issue;
  };
  auto weak = makeRow(100);
  dataset->add(weak, true);
  dataset->set(weak, da::SelfTime, variant_t(100.0));
  weak->addRowIssue(confident("weak", 2));
  engine->saveRecommendationsSummary();
  auto summary = summary_store::SummaryCollection::loadRecommendations(dir.str());
  ASSERT_TRUE(summary);
  EXPECT_TRUE(summary->empty());

  for (std::int64_t i = 1; i <= 6; ++i) {
    auto row = makeRow(static_cast<std::uint64_t>(i));
    weak->addChild(row);
    dataset->add(row);
    dataset->set(row, da::SelfTime, variant_t(static_cast<double>(i)));
    dataset->set(row, da::FuncInstIdx, variant_t(i));
    row->addRowIssue(confident("rec" + std::to_string(i), 3));
  }
  engine->saveRecommendationsSummary();
  summary = summary_store::SummaryCollection::loadRecommendations(dir.str());
  ASSERT_TRUE(summary);
  std::vector<std::int64_t> listed;
  for (const auto& loop : summary->loops()) listed.push_back(loop.funcInstIdx);
  EXPECT_EQ((std::vector<std::int64_t>{6, 5, 4, 3, 2}), listed);
}

}  // namespace
