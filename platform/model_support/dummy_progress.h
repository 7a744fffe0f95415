#pragma once
// `DummyProgress`: the progress object of a task that was given none.

#include <atomic>

#include "platform/foundation/progress.h"

namespace data_models2 {

/// Keeps only the cancel flag, so that a walk given this object still stops
/// when its task is cancelled. Steps, titles and messages are dropped, and
/// the total is always 0.0.
class DummyProgress final : public foundation::IProgress {
 public:
  void start(const char* title, double total) override;
  void progressed(int steps) override;
  void internalProgressed(double steps) override;
  void message(const char* text) override;
  void finish() override;
  void cancel() override;
  double getTotalSteps() const override;
  bool isCanceled() const override;

  /// Clears the flag, for a task that reuses the object for a new run.
  void reset();

 private:
  std::atomic<bool> canceled_{false};
};

}  // namespace data_models2
