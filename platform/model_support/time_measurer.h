#pragma once
// `TimeMeasurer`: named wall-clock measurements of the phases of a task,
// written to the log.
//
// A measurement starts and finishes by name; the time between goes to the
// logger "nimbex.time" at info level as one line:
//
//     Issue detection: 1.204 s
//     Number of issues detected 12
//     Number of recommendations detected 30
//
// (the lines after the first are the text given to finishTimeMeasure).

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace data_models2 {

/// Process-wide and thread-safe. Measurements are kept per thread, so two
/// tasks may time phases of the same name at once; a finish on a thread that
/// did not start that name takes the latest start of the name on any thread.
/// A finish without a start logs nothing.
class TimeMeasurer {
 public:
  static TimeMeasurer& instance();

  /// Starts, or restarts, the measurement `name` of this thread.
  void startTimeMeasure(const std::string& name);
  /// Ends the measurement `name` and logs its time followed by `text`.
  /// False when no measurement of that name was started.
  bool finishTimeMeasure(const std::string& name, const std::string& text);

  static constexpr const char* logger_name = "nimbex.time";

 private:
  using clock = std::chrono::steady_clock;
  using key_t = std::pair<std::thread::id, std::string>;

  std::mutex mutex_;
  std::map<key_t, clock::time_point> started_;
};

}  // namespace data_models2
