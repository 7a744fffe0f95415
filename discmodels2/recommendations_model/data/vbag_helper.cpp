#include "discmodels2/recommendations_model/data/vbag_helper.h"

namespace data_models2 {

using foundation::variant_bag_t;
using foundation::variant_t;

void VBagHelper::addAttribute(variant_bag_t& bag, const std::string& value) { bag.put("", variant_t(value)); }

variant_bag_t& VBagHelper::addList(variant_bag_t& bag, const char* name) {
  variant_bag_t& list = bag.add_variant_bag(name);
  addAttribute(list, VBagAttr<const char*>(kArrayOf, kItem));
  return list;
}

variant_bag_t& VBagHelper::addListItem(variant_bag_t& list, const std::string& value) {
  variant_bag_t& item = list.add_variant_bag(kItem);
  addAttribute(item, value);
  return item;
}

}  // namespace data_models2
