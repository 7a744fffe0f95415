#pragma once
// `IProgress`: progress reporting and cancelling of a long operation.
//
// `cancel` may be called from any thread; the walker of a long operation polls
// `isCanceled` between rows, so implementations keep that flag atomic.

namespace foundation {

class IProgress {
 public:
  virtual void start(const char* title, double total) = 0;
  virtual void progressed(int steps) = 0;
  virtual void internalProgressed(double steps) = 0;
  virtual void message(const char* text) = 0;
  virtual void finish() = 0;
  virtual void cancel() = 0;
  virtual double getTotalSteps() const = 0;
  virtual bool isCanceled() const = 0;
  virtual ~IProgress() = default;
};

}  // namespace foundation
