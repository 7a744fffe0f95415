#include "platform/model_support/dependency_helpers.h"

#include <array>

namespace data_models2 {

const std::string& getDependencyStr(int type) {
  static const std::array<std::string, 6> kTexts = {
      "Read after write dependency", "Write after read dependency", "Write after write dependency",
      "Read after read dependency",  "No dependency",               "Reduction",
  };
  static const std::string kNone;
  return type >= 0 && type < static_cast<int>(kTexts.size()) ? kTexts[static_cast<std::size_t>(type)] : kNone;
}

}  // namespace data_models2
