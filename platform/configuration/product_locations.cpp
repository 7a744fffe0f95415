#include "platform/configuration/product_locations.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace configuration {

using foundation::sptr_t;

namespace {

std::vector<std::string> parseFeatures(const char* list) {
  std::vector<std::string> names;
  if (!list) return names;
  std::string_view rest(list);
  while (true) {
    const std::size_t comma = rest.find(',');
    std::string_view name = rest.substr(0, comma);
    const std::size_t first = name.find_first_not_of(" \t");
    if (first != std::string_view::npos) {
      name = name.substr(first, name.find_last_not_of(" \t") - first + 1);
      if (std::find(names.begin(), names.end(), name) == names.end()) names.emplace_back(name);
    }
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  return names;
}

class ProductLocations : public IProductLocations {
 public:
  explicit ProductLocations(const char* list)
      : features_(std::make_shared<const std::vector<std::string>>(parseFeatures(list))) {}

  bool hasFeature(const char* name) const override {
    return name && std::find(features_->begin(), features_->end(), name) != features_->end();
  }

  // The iterator shares the list, so it may outlive this object.
  foundation::generic_iterator_t<std::string> features() const override {
    return foundation::generic_iterator_t<std::string>(features_);
  }

 private:
  const std::shared_ptr<const std::vector<std::string>> features_;
};

}  // namespace

sptr_t<IProductLocations> IProductLocations::get() {
  static const sptr_t<IProductLocations> instance = create(std::getenv(features_variable));
  return instance;
}

sptr_t<IProductLocations> IProductLocations::create(const char* featureList) {
  return foundation::pool_allocate<ProductLocations, IProductLocations>(featureList);
}

}  // namespace configuration
