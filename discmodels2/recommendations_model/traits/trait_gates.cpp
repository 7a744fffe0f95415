#include "discmodels2/recommendations_model/traits/trait_gates.h"

#include "platform/model_support/traits_helpers.h"

namespace data_models2::issues {

bool matchesTraitClasses(const std::string& instructionSets, int traitId) {
  for (const traits_helpers::InstClass& record : traits_helpers::getInstClasses(traitId)) {
    if (traits_helpers::checkInstClasses(instructionSets, record)) return true;
  }
  return false;
}

bool isHotLoop(const IDataProvider& provider, const data_abstractions2::row_t& row, double percent) {
  // The rank test catches loops that are hot relative to the others in a
  // program whose time is spread thin, where no loop passes the share test.
  return provider.isLoopMatchThreshold(row, percent) || provider.isLoopInsideRange(row, 0.0, 10.0);
}

std::string joinLines(const std::string& first, const std::string& second) { return first + "\n" + second; }

}  // namespace data_models2::issues
