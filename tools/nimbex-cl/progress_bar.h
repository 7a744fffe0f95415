#pragma once
// A progress bar on standard error for long scans.
//
//   Issues progress [##########--------------------]  33%
//
// It draws only when standard error is a terminal (and not when told to be
// quiet), so logs and pipes never get control characters. Steps arrive from
// the scan's worker thread; cancel arrives from the signal watcher; both are
// safe from any thread.

#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>

#include "platform/foundation/progress.h"

namespace nimbex_cl {

class ProgressBar : public foundation::IProgress {
 public:
  /// `enabled` false makes a bar that counts and cancels but never draws.
  ProgressBar(std::FILE* stream, bool enabled);
  ~ProgressBar() override;

  /// True when `stream` is a terminal.
  static bool isTerminal(std::FILE* stream);

  void start(const char* title, double total) override;
  void progressed(int steps) override;
  void internalProgressed(double steps) override;
  void message(const char* text) override;
  void finish() override;
  void cancel() override;
  double getTotalSteps() const override;
  bool isCanceled() const override;

  double doneSteps() const;

 private:
  void add(double steps);
  void draw(bool final);

  std::FILE* stream_;
  const bool enabled_;
  std::atomic<bool> canceled_{false};
  mutable std::mutex mutex_;
  std::string title_;
  double total_ = 0.0;
  double done_ = 0.0;
  int shownPercent_ = -1;
  bool drawn_ = false;
};

}  // namespace nimbex_cl
