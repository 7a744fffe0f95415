#pragma once
// Private to the data layer: the state that issue and recommendation records
// share.

#include <atomic>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "data_abstractions2/i_records.h"

namespace data_abstractions2 {

/// One copy of a text for all records that hold it at the same time: a scan
/// gives thousands of rows the same issue with the same title and text. The
/// copy goes with the last record that holds it. Safe to call from any
/// thread.
std::shared_ptr<const std::string> shareText(const std::string& text);

/// Implements IRecommendationBase for one of its two interfaces. Strings,
/// numbers and parameters are fixed at construction; the flag word and the
/// float values may change later, while the host already reads the record on
/// its own thread, so the flags are atomic and the values sit behind a mutex.
template <class Interface>
class RecordBase : public Interface {
 public:
  RecordBase(const std::string& id, const std::string& title, const std::string& text, unsigned flags,
             const variant_bag_t& parameters, int confidence, int priority)
      : id_(id),
        title_(shareText(title)),
        text_(shareText(text)),
        parameters_(parameters),
        confidence_(confidence),
        priority_(priority),
        flags_(flags) {}

  const std::string& getStringId() const override { return id_; }
  const std::string& getTitle() const override { return *title_; }
  const std::string& getText() const override { return *text_; }
  unsigned getFlags() const override { return flags_.load(std::memory_order_acquire); }
  bool hasFlags(unsigned bits) const override { return (getFlags() & bits) != 0; }
  void addFlags(unsigned bits) override { flags_.fetch_or(bits, std::memory_order_acq_rel); }

  void setValue(const std::string& key, float value) override {
    std::lock_guard<std::mutex> lock(valuesMutex_);
    values_[key] = value;
  }
  bool getValue(const std::string& key, float& value) const override {
    std::lock_guard<std::mutex> lock(valuesMutex_);
    auto it = values_.find(key);
    if (it == values_.end()) return false;
    value = it->second;
    return true;
  }
  std::map<std::string, float> getValues() const override {
    std::lock_guard<std::mutex> lock(valuesMutex_);
    return values_;
  }

  int getPriority() const override { return priority_; }
  int getConfidence() const override { return confidence_; }
  const variant_bag_t& getParameters() const override { return parameters_; }

 private:
  const std::string id_;
  const std::shared_ptr<const std::string> title_;
  const std::shared_ptr<const std::string> text_;
  const variant_bag_t parameters_;
  const int confidence_;
  const int priority_;
  std::atomic<unsigned> flags_;
  mutable std::mutex valuesMutex_;
  std::map<std::string, float> values_;
};

}  // namespace data_abstractions2
