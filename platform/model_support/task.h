#pragma once
// Tasks that the scheduler runs: `ITask` and the two bases that concrete
// tasks derive from.
//
// A task is made with foundation::pool_allocate, which supplies its reference
// count, and handed to IScheduler::schedule. The scheduler calls TaskStarted,
// DoTask and TaskFinished, in that order, on one thread that is not the
// caller's, and then drops its reference. Cancel may arrive on any thread at
// any time, also before TaskStarted or after TaskFinished, so it only sets
// flags that the task polls.

#include <atomic>
#include <mutex>
#include <string>

#include "data_abstractions2/i_view_model_base.h"
#include "platform/foundation/ref_counted.h"
#include "platform/foundation/signal.h"

namespace data_models2 {

class ITask : public foundation::ref_countable_t {
 public:
  virtual ~ITask() = default;

  virtual void TaskStarted() = 0;
  virtual void DoTask() = 0;
  virtual void TaskFinished() = 0;
  /// A long task gets a thread of its own.
  virtual bool IsLongTask() const = 0;
  /// True makes the scheduler run the task on its one service thread, in
  /// order with the other tasks there, even when it is long.
  virtual bool IsServiceThreadNeeded() const = 0;
  virtual void Cancel() = 0;
  virtual bool IsCanceled() const = 0;
  /// Outcome, meaningful once TaskFinished has run.
  virtual data_abstractions2::IViewModelBase::LoadType GetCompleteStatus() const = 0;
  virtual std::string GetCompleteMessage() const = 0;
};

/// Cancelling for every task: one flag, set from any thread.
class DefaultTaskImpl : public ITask {
 public:
  bool IsServiceThreadNeeded() const override { return false; }
  void Cancel() override;
  bool IsCanceled() const override;

 private:
  std::atomic<bool> canceled_{false};
};

/// Base of the long operations of the models: a thread of its own, an
/// outcome, and a signal raised when it stops.
///
/// The stop signal is not raised here: a derived task raises it at the end
/// of its TaskFinished, on the scheduler's thread, after setting its outcome.
/// Slots run on that thread; the task stays alive while they run.
class BaseLongOperationTask : public DefaultTaskImpl {
 public:
  using LoadType = data_abstractions2::IViewModelBase::LoadType;

  bool IsLongTask() const override { return true; }
  /// LoadFailed until SetCompleteStatus: a task that ends without saying how
  /// did not produce anything to rely on.
  LoadType GetCompleteStatus() const override;
  std::string GetCompleteMessage() const override;

  void SetCompleteStatus(LoadType status);
  void SetCompleteMessage(const std::string& message);

  foundation::signal_t<const BaseLongOperationTask*> stopSignal;

 private:
  // Set on the scheduler's thread, read by the host's: both are guarded.
  std::atomic<int> status_{data_abstractions2::IViewModelBase::LoadFailed};
  mutable std::mutex messageMutex_;
  std::string message_;
};

}  // namespace data_models2
