#pragma once
// `variant_bag_t`: a tree of named values, the parameters of a finding.
//
// A bag holds named values (one per key) and named sub-bags (any number per
// key, which is how lists are made). Both keep insertion order, because a
// report written from a bag and read back must compare equal, and users see
// list items in the order the detector added them.
//
// Sub-bags are stored in a std::list so that the reference returned by
// add_variant_bag stays valid while more sub-bags are added.

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <utility>

#include "platform/foundation/variant.h"

namespace foundation {

class variant_bag_t {
 public:
  using value_entry = std::pair<std::string, variant_t>;
  using bag_entry = std::pair<std::string, variant_bag_t>;

  /// Sets the value under `key`, replacing an earlier one.
  void put(const char* key, const variant_t& value);
  void put(std::string_view key, const variant_t& value);

  /// Appends a copy of `bag` under `key` and returns the stored copy.
  variant_bag_t& add_variant_bag(const char* key, const variant_bag_t& bag = variant_bag_t());
  variant_bag_t& add_variant_bag(std::string_view key, const variant_bag_t& bag = variant_bag_t());

  /// The value under `key`, or null.
  const variant_t* get(std::string_view key) const;
  /// The first sub-bag under `key`, or null.
  const variant_bag_t* get_bag(std::string_view key) const;
  std::size_t count_bags(std::string_view key) const;

  bool empty() const { return values_.empty() && bags_.empty(); }
  void clear();

  const std::list<value_entry>& values() const { return values_; }
  const std::list<bag_entry>& bags() const { return bags_; }

  friend bool operator==(const variant_bag_t& a, const variant_bag_t& b);
  friend bool operator!=(const variant_bag_t& a, const variant_bag_t& b) { return !(a == b); }

 private:
  std::list<value_entry> values_;
  std::list<bag_entry> bags_;
};

}  // namespace foundation
