#pragma once
// `IProductLocations`: what this installation of the product offers; for
// now, which optional features are switched on.
//
// Features come from the environment variable NIMBEX_FEATURES, a
// comma-separated list of names: "python_issues,shadow_model". Blanks around
// a name are ignored, and so are empty entries; names are compared exactly,
// case included. Known features are listed in docs/configuration.md.

#include <string>

#include "platform/foundation/generic_iterator.h"
#include "platform/foundation/ref_counted.h"
#include "platform/foundation/sptr.h"

namespace configuration {

class IProductLocations : public foundation::ref_countable_t {
 public:
  static constexpr const char* features_variable = "NIMBEX_FEATURES";

  /// The process-wide object. The variable is read at the first call; later
  /// changes of it are not seen.
  static foundation::sptr_t<IProductLocations> get();
  /// An object with the features of `featureList`, in the variable's format;
  /// null gives no features.
  static foundation::sptr_t<IProductLocations> create(const char* featureList);

  /// False for null.
  virtual bool hasFeature(const char* name) const = 0;
  /// The features that are on, each once, in the order of the list.
  virtual foundation::generic_iterator_t<std::string> features() const = 0;
};

}  // namespace configuration
