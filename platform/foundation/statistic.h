#pragma once
// `statistic_t`: process-wide feature counters, keyed by dotted names such as
// "dm.survey.loops.outer". The host uploads them; we keep them in memory and
// let tools print them.

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace foundation {

class statistic_t {
 public:
  static statistic_t& get();

  void set_value(const std::string& key, std::uint64_t value);
  bool get_value(const std::string& key, std::uint64_t& value) const;
  std::map<std::string, std::uint64_t> snapshot() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::uint64_t> values_;
};

}  // namespace foundation
