#include "platform/foundation/statistic.h"

namespace foundation {

statistic_t& statistic_t::get() {
  static statistic_t instance;
  return instance;
}

void statistic_t::set_value(const std::string& key, std::uint64_t value) {
  std::lock_guard<std::mutex> lock(mutex_);
  values_[key] = value;
}

bool statistic_t::get_value(const std::string& key, std::uint64_t& value) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return false;
  value = it->second;
  return true;
}

std::map<std::string, std::uint64_t> statistic_t::snapshot() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return values_;
}

void statistic_t::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  values_.clear();
}

}  // namespace foundation
