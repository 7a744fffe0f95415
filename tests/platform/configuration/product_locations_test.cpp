#include "platform/configuration/product_locations.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace configuration {
namespace {

std::vector<std::string> featuresOf(const char* list) {
  std::vector<std::string> names;
  for (auto it = IProductLocations::create(list)->features(); !it.at_end(); it.next()) names.push_back(it.current());
  return names;
}

TEST(ProductLocations, FeatureListsParse) {
  using names = std::vector<std::string>;
  struct Case {
    const char* list;
    names expected;
  };
  const Case cases[] = {
      {nullptr, {}},
      {"", {}},
      {"python_issues", {"python_issues"}},
      {"python_issues,shadow_model", {"python_issues", "shadow_model"}},
      {" python_issues ,\tshadow_model\t", {"python_issues", "shadow_model"}},
      {",,python_issues,, ,shadow_model,", {"python_issues", "shadow_model"}},
      {"shadow_model,shadow_model", {"shadow_model"}},
      {"two words", {"two words"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(featuresOf(c.list), c.expected) << (c.list ? c.list : "(null)");
  }
}

TEST(ProductLocations, HasFeatureComparesWholeNamesExactly) {
  auto p = IProductLocations::create("python_issues");
  EXPECT_TRUE(p->hasFeature("python_issues"));
  for (const char* other : {"Python_Issues", "python", "python_issues2", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(p->hasFeature(other)) << (other ? other : "(null)");
  }
}

TEST(ProductLocations, TheProcessWideObjectReadsTheEnvironmentOnce) {
  // The only test in this program that calls get(): the first call fixes
  // the answer for the process.
  ::setenv(IProductLocations::features_variable, "shadow_model", 1);
  auto p = IProductLocations::get();
  ::setenv(IProductLocations::features_variable, "python_issues", 1);
  EXPECT_TRUE(IProductLocations::get()->hasFeature("shadow_model"));
  EXPECT_FALSE(IProductLocations::get()->hasFeature("python_issues"));
  EXPECT_EQ(p.get(), IProductLocations::get().get());
  ::unsetenv(IProductLocations::features_variable);
}

}  // namespace
}  // namespace configuration
