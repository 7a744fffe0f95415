#include "platform/foundation/variant_bag.h"

namespace foundation {

void variant_bag_t::put(const char* key, const variant_t& value) { put(std::string_view(key ? key : ""), value); }

void variant_bag_t::put(std::string_view key, const variant_t& value) {
  for (auto& entry : values_) {
    if (entry.first == key) {
      entry.second = value;
      return;
    }
  }
  values_.emplace_back(std::string(key), value);
}

variant_bag_t& variant_bag_t::add_variant_bag(const char* key, const variant_bag_t& bag) {
  return add_variant_bag(std::string_view(key ? key : ""), bag);
}

variant_bag_t& variant_bag_t::add_variant_bag(std::string_view key, const variant_bag_t& bag) {
  bags_.emplace_back(std::string(key), bag);
  return bags_.back().second;
}

const variant_t* variant_bag_t::get(std::string_view key) const {
  for (const auto& entry : values_) {
    if (entry.first == key) return &entry.second;
  }
  return nullptr;
}

const variant_bag_t* variant_bag_t::get_bag(std::string_view key) const {
  for (const auto& entry : bags_) {
    if (entry.first == key) return &entry.second;
  }
  return nullptr;
}

std::size_t variant_bag_t::count_bags(std::string_view key) const {
  std::size_t n = 0;
  for (const auto& entry : bags_) n += entry.first == key ? 1 : 0;
  return n;
}

void variant_bag_t::clear() {
  values_.clear();
  bags_.clear();
}

bool operator==(const variant_bag_t& a, const variant_bag_t& b) { return a.values_ == b.values_ && a.bags_ == b.bags_; }

}  // namespace foundation
