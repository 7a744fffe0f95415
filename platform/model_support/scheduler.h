#pragma once
// `IScheduler`: runs the models' tasks off the host's thread, by name.
//
// Threads: a task whose IsLongTask is true and IsServiceThreadNeeded false
// gets a thread of its own, started by `schedule`. Every other task goes to
// the one service thread, which runs them one after another in the order
// they were scheduled. Either way the thread calls TaskStarted, DoTask and
// TaskFinished, then drops the scheduler's reference to the task.
//
// A cancelled task is still run: cancelling sets the task's flags, and the
// task is expected to look at them and end early, and to report its end from
// TaskFinished as usual. Hosts rely on that report to learn that a task is
// gone, whether or not it ran to its end.
//
// Names need not be unique: every operation that takes a name acts on all
// tasks of that name. A task counts under its name from `schedule` until it
// has finished and been released.
//
// Shutdown cancels every task, runs what is queued (cancelled), and joins
// every thread. The process-wide scheduler shuts down at the latest when
// static objects are destroyed; a program whose tasks use other process-wide
// objects (the log, the time measurer) calls `shutdown` at the end of main.

#include <string>

#include "platform/foundation/ref_counted.h"
#include "platform/foundation/sptr.h"
#include "platform/model_support/task.h"

namespace data_models2 {

class IScheduler : public foundation::ref_countable_t {
 public:
  /// The process-wide scheduler.
  static foundation::sptr_t<IScheduler> get();
  /// A scheduler of its own, for a tool or a test that wants to shut it down
  /// without touching the process-wide one.
  static foundation::sptr_t<IScheduler> create();

  /// Runs `task` under `name`. False, and the task is not run, when the
  /// scheduler is shut down, the task is null, or no thread could be started.
  virtual bool schedule(foundation::sptr_t<ITask> task, const std::string& name) = 0;
  /// A task of that name is queued or running.
  virtual bool hasTask(const std::string& name) const = 0;
  /// A task of that name is between TaskStarted and its release.
  virtual bool isRunning(const std::string& name) const = 0;
  /// The scheduler takes work: it has not been shut down.
  virtual bool isRunning() const = 0;
  /// Cancels the tasks of that name and returns at once.
  virtual void cancelTask(const std::string& name) = 0;
  /// Cancels the tasks of that name and returns when they have finished and
  /// been released. Tasks that run on the calling thread itself are
  /// cancelled but not waited for.
  virtual void cancelTaskAndWait(const std::string& name) = 0;
  /// Waits, without cancelling, until the tasks of that name have finished.
  virtual void waitForTask(const std::string& name) = 0;
  /// Cancels everything, waits for it and joins all threads; later
  /// `schedule` calls answer false. Called again, does nothing.
  virtual void shutdown() = 0;
};

}  // namespace data_models2
