#include "platform/model_support/time_measurer.h"

#include <cstdio>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace data_models2 {

TimeMeasurer& TimeMeasurer::instance() {
  static TimeMeasurer measurer;
  return measurer;
}

void TimeMeasurer::startTimeMeasure(const std::string& name) {
  const clock::time_point now = clock::now();
  std::lock_guard<std::mutex> lock(mutex_);
  started_[key_t(std::this_thread::get_id(), name)] = now;
}

bool TimeMeasurer::finishTimeMeasure(const std::string& name, const std::string& text) {
  const clock::time_point now = clock::now();
  clock::time_point start;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = started_.find(key_t(std::this_thread::get_id(), name));
    if (it == started_.end()) {
      // Started on another thread: a phase may begin in TaskStarted and end
      // wherever the host finishes it.
      for (auto other = started_.begin(); other != started_.end(); ++other) {
        if (other->first.second == name && (it == started_.end() || other->second > it->second)) it = other;
      }
    }
    if (it == started_.end()) return false;
    start = it->second;
    started_.erase(it);
  }
  const double seconds = std::chrono::duration<double>(now - start).count();
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.3f", seconds);
  log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT(logger_name));
  LOG4CPLUS_INFO(logger, name << ": " << buffer << " s" << text);
  return true;
}

}  // namespace data_models2
