#include "platform/model_support/scheduler.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "platform/model_support/time_measurer.h"
#include "platform/portability/assert.h"

namespace data_models2 {

using foundation::sptr_t;

namespace {

log4cplus::Logger schedulerLogger() { return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("nimbex.scheduler")); }

/// One scheduled task, from `schedule` until its thread is joined (long
/// tasks) or it is released (service tasks). Guarded by core_t::mutex.
struct entry_t {
  std::string name;
  sptr_t<ITask> task;  ///< the scheduler's reference; cleared at the release
  bool onService = false;
  bool started = false;
  bool released = false;
  std::thread::id runner;  ///< the thread running it, once started
  std::thread thread;      ///< a long task's own thread
};
using entry_ptr = std::shared_ptr<entry_t>;

/// State shared by a scheduler and its threads. The threads hold it by
/// shared_ptr, so a thread that outlives its scheduler object (the last
/// reference was dropped on that very thread) still has it.
struct core_t {
  std::mutex mutex;
  /// Raised when an entry is released, a service task is queued, or
  /// shutdown begins.
  std::condition_variable changed;
  std::list<entry_ptr> entries;
  std::deque<entry_ptr> serviceQueue;
  std::thread serviceThread;
  std::thread::id serviceThreadId;
  bool accepting = true;
};

// A task that throws must not take the host down with it, and must still be
// given the chance to report its end.
template <class Step>
void guarded(const char* step, const std::string& name, Step&& call) {
  try {
    call();
  } catch (const std::exception& e) {
    LOG4CPLUS_ERROR(schedulerLogger(), "task " << name << ": " << step << " threw: " << e.what());
  } catch (...) {
    LOG4CPLUS_ERROR(schedulerLogger(), "task " << name << ": " << step << " threw");
  }
}

void runEntry(core_t& core, const entry_ptr& entry) {
  sptr_t<ITask> task;
  bool shuttingDown = false;
  {
    std::lock_guard<std::mutex> lock(core.mutex);
    entry->started = true;
    entry->runner = std::this_thread::get_id();
    task = entry->task;
    shuttingDown = !core.accepting;
  }
  // Shutdown cancels what it finds, but a queued task may come up before
  // that cancel reaches it; every task started after shutdown began runs
  // cancelled.
  if (task && shuttingDown) guarded("Cancel", entry->name, [&] { task->Cancel(); });
  if (task) {
    guarded("TaskStarted", entry->name, [&] { task->TaskStarted(); });
    guarded("DoTask", entry->name, [&] { task->DoTask(); });
    guarded("TaskFinished", entry->name, [&] { task->TaskFinished(); });
  }
  {
    std::lock_guard<std::mutex> lock(core.mutex);
    entry->task.reset();
  }
  // Usually the last reference: the task dies on this thread, before anyone
  // waiting for it is let go.
  guarded("release", entry->name, [&] { task.reset(); });
  {
    std::lock_guard<std::mutex> lock(core.mutex);
    entry->released = true;
    if (entry->onService) core.entries.remove(entry);
  }
  core.changed.notify_all();
}

void serviceLoop(const std::shared_ptr<core_t>& core) {
  for (;;) {
    entry_ptr entry;
    {
      std::unique_lock<std::mutex> lock(core->mutex);
      core->changed.wait(lock, [&] { return !core->accepting || !core->serviceQueue.empty(); });
      // At shutdown the queue is still drained: each task gets its calls
      // (cancelled) so that it can report its end.
      if (core->serviceQueue.empty()) return;
      entry = core->serviceQueue.front();
      core->serviceQueue.pop_front();
    }
    runEntry(*core, entry);
  }
}

void joinAll(std::vector<std::thread>& threads) {
  for (std::thread& t : threads) {
    if (!t.joinable()) continue;
    if (t.get_id() == std::this_thread::get_id()) {
      // The scheduler is shut down from one of its own tasks: this thread
      // cannot join itself. It ends when the task returns; the core it uses
      // is kept alive by the thread itself.
      NIMB_ASSERT_TEXT(false, "shutdown from a task of the same scheduler");
      t.detach();
      continue;
    }
    t.join();
  }
}

class Scheduler : public IScheduler {
 public:
  Scheduler() : core_(std::make_shared<core_t>()) {}
  ~Scheduler() override { shutdown(); }

  bool schedule(sptr_t<ITask> task, const std::string& name) override {
    if (!task) return false;
    reap();
    // The task's own answers decide the thread; ask before taking the lock,
    // since they are the task's code.
    const bool ownThread = task->IsLongTask() && !task->IsServiceThreadNeeded();
    auto entry = std::make_shared<entry_t>();
    entry->name = name;
    entry->task = std::move(task);
    entry->onService = !ownThread;
    {
      std::lock_guard<std::mutex> lock(core_->mutex);
      if (!core_->accepting) return false;
      try {
        if (ownThread) {
          entry->thread = std::thread([core = core_, entry] { runEntry(*core, entry); });
        } else if (!core_->serviceThread.joinable()) {
          core_->serviceThread = std::thread([core = core_] { serviceLoop(core); });
          core_->serviceThreadId = core_->serviceThread.get_id();
        }
      } catch (const std::system_error& e) {
        LOG4CPLUS_ERROR(schedulerLogger(), "task " << name << " not started: " << e.what());
        return false;
      }
      core_->entries.push_back(entry);
      if (!ownThread) core_->serviceQueue.push_back(entry);
    }
    if (!ownThread) core_->changed.notify_all();
    return true;
  }

  bool hasTask(const std::string& name) const override {
    std::lock_guard<std::mutex> lock(core_->mutex);
    for (const entry_ptr& e : core_->entries) {
      if (e->name == name && !e->released) return true;
    }
    return false;
  }

  bool isRunning(const std::string& name) const override {
    std::lock_guard<std::mutex> lock(core_->mutex);
    for (const entry_ptr& e : core_->entries) {
      if (e->name == name && e->started && !e->released) return true;
    }
    return false;
  }

  bool isRunning() const override {
    std::lock_guard<std::mutex> lock(core_->mutex);
    return core_->accepting;
  }

  void cancelTask(const std::string& name) override { cancelAndWait(name, true, false); }
  void cancelTaskAndWait(const std::string& name) override { cancelAndWait(name, true, true); }
  void waitForTask(const std::string& name) override { cancelAndWait(name, false, true); }

  void shutdown() override {
    std::vector<sptr_t<ITask>> toCancel;
    {
      std::lock_guard<std::mutex> lock(core_->mutex);
      core_->accepting = false;
      for (const entry_ptr& e : core_->entries) {
        if (e->task) toCancel.push_back(e->task);
      }
    }
    core_->changed.notify_all();
    for (const sptr_t<ITask>& t : toCancel) t->Cancel();
    toCancel.clear();

    std::vector<std::thread> threads;
    {
      std::lock_guard<std::mutex> lock(core_->mutex);
      // No entry can be added any more, so this is every thread there is.
      for (const entry_ptr& e : core_->entries) {
        if (e->thread.joinable()) threads.push_back(std::move(e->thread));
      }
      if (core_->serviceThread.joinable()) threads.push_back(std::move(core_->serviceThread));
    }
    joinAll(threads);
    std::lock_guard<std::mutex> lock(core_->mutex);
    core_->entries.remove_if([](const entry_ptr& e) { return e->released; });
  }

 private:
  void cancelAndWait(const std::string& name, bool cancel, bool wait) {
    const std::thread::id self = std::this_thread::get_id();
    std::vector<sptr_t<ITask>> toCancel;
    std::vector<entry_ptr> toWait;
    {
      std::lock_guard<std::mutex> lock(core_->mutex);
      for (const entry_ptr& e : core_->entries) {
        if (e->name != name || e->released) continue;
        if (cancel && e->task) toCancel.push_back(e->task);
        // Waiting for the task on this very thread, or for one queued behind
        // it on the service thread, would never end.
        const bool onThisThread = (e->started && e->runner == self) || (e->onService && core_->serviceThreadId == self);
        if (wait && !onThisThread) toWait.push_back(e);
      }
    }
    // Cancel is the task's code: called without the lock, since it may take
    // locks of its own that the task also holds while it calls us.
    for (const sptr_t<ITask>& t : toCancel) t->Cancel();
    // Let the worker hold the last reference, so the task usually dies there.
    toCancel.clear();
    if (toWait.empty()) return;
    {
      std::unique_lock<std::mutex> lock(core_->mutex);
      core_->changed.wait(lock, [&] {
        for (const entry_ptr& e : toWait) {
          if (!e->released) return false;
        }
        return true;
      });
    }
    reap();
  }

  /// Joins the threads of long tasks that have been released. Their threads
  /// are at most returning, so the joins are short.
  void reap() {
    std::vector<std::thread> threads;
    {
      std::lock_guard<std::mutex> lock(core_->mutex);
      for (auto it = core_->entries.begin(); it != core_->entries.end();) {
        if ((*it)->released) {
          if ((*it)->thread.joinable()) threads.push_back(std::move((*it)->thread));
          it = core_->entries.erase(it);
        } else {
          ++it;
        }
      }
    }
    joinAll(threads);
  }

  std::shared_ptr<core_t> core_;
};

/// Holds the process-wide scheduler and shuts it down when static objects
/// are destroyed, whoever still holds a reference: no thread of ours may run
/// on into the destruction of the rest of the process.
struct global_scheduler_t {
  global_scheduler_t() {
    // Made first, destroyed after the scheduler's shutdown: tasks still
    // running at exit time their phases.
    TimeMeasurer::instance();
  }
  ~global_scheduler_t() { scheduler->shutdown(); }
  sptr_t<IScheduler> scheduler = IScheduler::create();
};

}  // namespace

sptr_t<IScheduler> IScheduler::get() {
  static global_scheduler_t global;
  return global.scheduler;
}

sptr_t<IScheduler> IScheduler::create() { return foundation::pool_allocate<Scheduler, IScheduler>(); }

}  // namespace data_models2
