#pragma once
// Building the parameter bags of findings.

#include <string>
#include <type_traits>
#include <utility>

#include "platform/foundation/variant_bag.h"

namespace data_models2 {

/// Puts values into parameter bags in the shapes the host's views read.
///
/// A named value is a sub-bag under its name that holds the value under the
/// empty key:
///
///   <vector_length><"">8</""></vector_length>
///
/// A list is a sub-bag named after the list, with the attribute "arrayOf"
/// set to "item", and one sub-bag "item" per element:
///
///   <user_functions arrayOf="item"><item>"foo"</item><item>"bar"</item></user_functions>
///
/// Bools travel as the integers 0 and 1, which is what the views compare.
class VBagHelper {
 public:
  static constexpr const char* kArrayOf = "arrayOf";
  static constexpr const char* kItem = "item";

  /// A key and a value, to be put into a bag as an attribute.
  template <class T>
  struct VBagAttr {
    VBagAttr(const char* key, T value) : key(key), value(std::move(value)) {}
    const char* key;
    T value;
  };

  /// Adds a sub-bag `key` holding `value` under the empty key; returns it.
  template <class T>
  static foundation::variant_bag_t& addVariantBag(foundation::variant_bag_t& bag, const char* key, const T& value) {
    foundation::variant_bag_t& added = bag.add_variant_bag(key);
    added.put("", toVariant(value));
    return added;
  }

  /// Puts `value` under the empty key of `bag`: the value of a list item.
  static void addAttribute(foundation::variant_bag_t& bag, const std::string& value);

  /// Puts an attribute into `bag`.
  template <class T>
  static void addAttribute(foundation::variant_bag_t& bag, const VBagAttr<T>& attribute) {
    bag.put(attribute.key, toVariant(attribute.value));
  }

  /// Adds an empty list `name` to `bag` and returns it.
  static foundation::variant_bag_t& addList(foundation::variant_bag_t& bag, const char* name);

  /// Adds an item holding `value` to a list made by addList.
  static foundation::variant_bag_t& addListItem(foundation::variant_bag_t& list, const std::string& value);

  template <class T>
  static foundation::variant_t toVariant(const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
      return foundation::variant_t(value ? 1 : 0);
    } else {
      return foundation::variant_t(value);
    }
  }
};

}  // namespace data_models2
