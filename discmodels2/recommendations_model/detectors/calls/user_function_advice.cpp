#include "discmodels2/recommendations_model/detectors/calls/user_function_advice.h"

#include "platform/model_support/compiler_helpers.h"

namespace data_models2::issues {

bool inliningSwitchedOff(const CommonData& data) {
  static const std::vector<std::string> kInliningOff = {"Ob0", "inline-level=0"};
  return compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, kInliningOff, true);
}

}  // namespace data_models2::issues
