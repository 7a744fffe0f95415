#include "platform/model_support/scheduler.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/sptr.h"

namespace data_models2 {
namespace {

using foundation::sptr_t;

/// What the tasks of one test did, in order, and on which threads.
struct journal_t {
  std::mutex mutex;
  std::vector<std::string> steps;
  std::vector<std::thread::id> threads;

  void add(const std::string& step) {
    std::lock_guard<std::mutex> lock(mutex);
    steps.push_back(step);
    threads.push_back(std::this_thread::get_id());
  }
  std::vector<std::string> snapshot() {
    std::lock_guard<std::mutex> lock(mutex);
    return steps;
  }
};

/// Holds DoTask until opened or cancelled.
struct gate_t {
  std::mutex mutex;
  std::condition_variable cv;
  bool open = false;
  bool entered = false;

  void pass(const std::atomic<bool>& canceled) {
    std::unique_lock<std::mutex> lock(mutex);
    entered = true;
    cv.notify_all();
    cv.wait(lock, [&] { return open || canceled.load(); });
  }
  void waitEntered() {
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait(lock, [&] { return entered; });
  }
  void release() {
    std::lock_guard<std::mutex> lock(mutex);
    open = true;
    cv.notify_all();
  }
  void wake() {
    std::lock_guard<std::mutex> lock(mutex);
    cv.notify_all();
  }
};

struct options_t {
  bool isLong = true;
  bool needsService = false;
  gate_t* gate = nullptr;
  bool throwInDoTask = false;
};

class RecordingTask : public BaseLongOperationTask {
 public:
  RecordingTask(std::string label, journal_t& journal, options_t options, std::latch* destroyed = nullptr)
      : label_(std::move(label)), journal_(journal), options_(options), destroyed_(destroyed) {}
  ~RecordingTask() override {
    journal_.add(label_ + ":destroyed");
    if (destroyed_) destroyed_->count_down();
  }

  void TaskStarted() override { journal_.add(label_ + ":started"); }
  void DoTask() override {
    journal_.add(label_ + (IsCanceled() ? ":do(canceled)" : ":do"));
    if (options_.throwInDoTask) throw std::runtime_error("broken task");
    if (options_.gate) options_.gate->pass(canceled_);
  }
  void TaskFinished() override {
    SetCompleteStatus(IsCanceled() ? LoadType::LoadCanceled : LoadType::LoadOk);
    journal_.add(label_ + ":finished");
    stopSignal(this);
  }
  bool IsLongTask() const override { return options_.isLong; }
  bool IsServiceThreadNeeded() const override { return options_.needsService; }
  void Cancel() override {
    BaseLongOperationTask::Cancel();
    canceled_.store(true);
    if (options_.gate) options_.gate->wake();
  }

 private:
  std::string label_;
  journal_t& journal_;
  options_t options_;
  std::latch* destroyed_;
  std::atomic<bool> canceled_{false};
};

/// The journal of one task "t" that ran to its end.
const std::vector<std::string> kRanT = {"t:started", "t:do", "t:finished", "t:destroyed"};

sptr_t<RecordingTask> makeTask(const std::string& label, journal_t& journal, options_t options = {},
                               std::latch* destroyed = nullptr) {
  return foundation::pool_allocate<RecordingTask>(label, journal, options, destroyed);
}

TEST(Scheduler, RunsTheStepsInOrderOffTheCallersThreadThenReleasesTheTask) {
  struct Case {
    const char* what;
    bool isLong;
    bool needsService;
  };
  for (const Case& c : {Case{"long, own thread", true, false}, Case{"short, service thread", false, false},
                        Case{"long on the service thread", true, true}}) {
    SCOPED_TRACE(c.what);
    auto scheduler = IScheduler::create();
    journal_t journal;
    ASSERT_TRUE(scheduler->schedule(makeTask("t", journal, {c.isLong, c.needsService}), "group/t"));
    scheduler->waitForTask("group/t");
    EXPECT_EQ(journal.snapshot(), kRanT);
    for (std::thread::id id : journal.threads) {
      EXPECT_NE(id, std::this_thread::get_id());
      EXPECT_EQ(id, journal.threads.front());
    }
    EXPECT_FALSE(scheduler->hasTask("group/t"));
  }
}

TEST(Scheduler, ServiceTasksShareOneThreadInScheduleOrder) {
  auto scheduler = IScheduler::create();
  journal_t journal;
  for (const char* label : {"a", "b", "c"}) ASSERT_TRUE(scheduler->schedule(makeTask(label, journal, {false}), "s"));
  scheduler->waitForTask("s");
  EXPECT_EQ(journal.snapshot(),
            (std::vector<std::string>{"a:started", "a:do", "a:finished", "a:destroyed", "b:started", "b:do",
                                      "b:finished", "b:destroyed", "c:started", "c:do", "c:finished",
                                      "c:destroyed"}));
  for (std::thread::id id : journal.threads) EXPECT_EQ(id, journal.threads.front());
}

// A task cancelled while queued still gets all its calls.
TEST(Scheduler, HasTaskAndIsRunningFollowQueuedAndRunningTasks) {
  auto scheduler = IScheduler::create();
  journal_t journal;
  gate_t gate;
  // A service task held in DoTask keeps the next one queued.
  ASSERT_TRUE(scheduler->schedule(makeTask("held", journal, {false, false, &gate}), "held"));
  ASSERT_TRUE(scheduler->schedule(makeTask("queued", journal, {false}), "queued"));
  gate.waitEntered();

  EXPECT_TRUE(scheduler->hasTask("held"));
  EXPECT_TRUE(scheduler->isRunning("held"));
  EXPECT_TRUE(scheduler->hasTask("queued"));
  EXPECT_FALSE(scheduler->isRunning("queued"));
  EXPECT_FALSE(scheduler->hasTask("other"));
  EXPECT_FALSE(scheduler->isRunning("other"));
  EXPECT_TRUE(scheduler->isRunning());

  scheduler->cancelTask("queued");
  gate.release();
  scheduler->waitForTask("queued");
  scheduler->waitForTask("held");
  for (const char* name : {"held", "queued"}) {
    EXPECT_FALSE(scheduler->hasTask(name)) << name;
    EXPECT_FALSE(scheduler->isRunning(name)) << name;
  }
  std::vector<std::string> queued;
  for (const std::string& s : journal.snapshot())
    if (s.rfind("queued:", 0) == 0) queued.push_back(s);
  EXPECT_EQ(queued, (std::vector<std::string>{"queued:started", "queued:do(canceled)", "queued:finished",
                                              "queued:destroyed"}));
}

TEST(Scheduler, CancelTaskAndWaitEndsARunningLongTask) {
  auto scheduler = IScheduler::create();
  journal_t journal;
  gate_t gate;  // never opened: only the cancel lets DoTask end
  auto task = makeTask("t", journal, {true, false, &gate});
  const RecordingTask* raw = task.get();
  const BaseLongOperationTask* stoppedBy = nullptr;
  task->stopSignal.connect([&](const BaseLongOperationTask* t) { stoppedBy = t; });
  ASSERT_TRUE(scheduler->schedule(std::move(task), "t"));
  gate.waitEntered();

  scheduler->cancelTaskAndWait("t");
  EXPECT_FALSE(scheduler->hasTask("t"));
  EXPECT_EQ(stoppedBy, raw);
  EXPECT_EQ(journal.snapshot(), kRanT);
}

TEST(Scheduler, TasksUnderOneNameAreCountedAndCancelledTogether) {
  auto scheduler = IScheduler::create();
  journal_t journal;
  gate_t first, second;
  std::latch firstGone(1);
  ASSERT_TRUE(scheduler->schedule(makeTask("a", journal, {true, false, &first}, &firstGone), "same"));
  ASSERT_TRUE(scheduler->schedule(makeTask("b", journal, {true, false, &second}), "same"));
  first.waitEntered();
  second.waitEntered();

  first.release();
  firstGone.wait();
  // One of the two has ended; the name stays taken by the other.
  EXPECT_TRUE(scheduler->hasTask("same"));
  EXPECT_TRUE(scheduler->isRunning("same"));

  scheduler->cancelTaskAndWait("same");
  EXPECT_FALSE(scheduler->hasTask("same"));
  auto steps = journal.snapshot();
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "a:finished"), 1);
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "b:finished"), 1);
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "b:destroyed"), 1);
}

TEST(Scheduler, ATaskThatThrowsIsStillFinishedAndReleased) {
  auto scheduler = IScheduler::create();
  journal_t journal;
  ASSERT_TRUE(scheduler->schedule(makeTask("t", journal, {.throwInDoTask = true}), "t"));
  scheduler->waitForTask("t");
  EXPECT_EQ(journal.snapshot(), kRanT);
}

/// Waits for its own name from inside DoTask, as a host callback reached
/// from the task might.
class SelfWaitingTask : public DefaultTaskImpl {
 public:
  SelfWaitingTask(sptr_t<IScheduler> scheduler, bool isLong) : scheduler_(std::move(scheduler)), isLong_(isLong) {}
  void TaskStarted() override {}
  void DoTask() override { scheduler_->cancelTaskAndWait("self"); }
  void TaskFinished() override {}
  bool IsLongTask() const override { return isLong_; }
  data_abstractions2::IViewModelBase::LoadType GetCompleteStatus() const override {
    return data_abstractions2::IViewModelBase::LoadOk;
  }
  std::string GetCompleteMessage() const override { return {}; }

 private:
  sptr_t<IScheduler> scheduler_;
  bool isLong_;
};

TEST(Scheduler, WaitingForOnesOwnNameFromInsideTheTaskDoesNotHang) {
  for (bool isLong : {true, false}) {
    SCOPED_TRACE(isLong ? "long" : "service");
    auto scheduler = IScheduler::create();
    auto task = foundation::pool_allocate<SelfWaitingTask>(scheduler, isLong);
    const SelfWaitingTask* raw = task.get();
    ASSERT_TRUE(scheduler->schedule(task, "self"));
    scheduler->waitForTask("self");
    EXPECT_TRUE(raw->IsCanceled());
    task.reset();
    scheduler->shutdown();
  }
}

TEST(Scheduler, ShutdownCancelsWaitsAndRefusesNewWork) {
  auto scheduler = IScheduler::create();
  journal_t journal;
  gate_t longGate, serviceGate;
  ASSERT_TRUE(scheduler->schedule(makeTask("long", journal, {true, false, &longGate}), "long"));
  ASSERT_TRUE(scheduler->schedule(makeTask("svc", journal, {false, false, &serviceGate}), "svc"));
  ASSERT_TRUE(scheduler->schedule(makeTask("queued", journal, {false}), "queued"));
  longGate.waitEntered();
  serviceGate.waitEntered();

  scheduler->shutdown();
  auto steps = journal.snapshot();
  for (const char* done : {"long:destroyed", "svc:destroyed", "queued:do(canceled)", "queued:destroyed"}) {
    EXPECT_EQ(std::count(steps.begin(), steps.end(), done), 1) << done;
  }
  EXPECT_FALSE(scheduler->isRunning());
  EXPECT_FALSE(scheduler->schedule(makeTask("after", journal), "after"));
  EXPECT_FALSE(scheduler->hasTask("after"));
  scheduler->shutdown();  // a second call is harmless
}

}  // namespace
}  // namespace data_models2
