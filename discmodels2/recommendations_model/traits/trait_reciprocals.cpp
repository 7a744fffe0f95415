#include "discmodels2/recommendations_model/traits/trait_reciprocals.h"

#include <utility>

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using system_info::SystemInfo;

TraitReciprocals::TraitReciprocals(std::shared_ptr<IDataProvider> dataProvider, SystemInfo::IsaExtensions systemIsa)
    : TraitDetector(std::move(dataProvider)), systemIsa(systemIsa) {}

bool TraitReciprocals::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isVectorized || !data.isLoop) return false;
  // Only the common AVX-512 subset: the later levels differ in their
  // reciprocal instructions and get their advice from the issue detector.
  if (systemIsa != SystemInfo::IsaAvx512 || data.isaType >= SystemInfo::IsaAvx512) return false;
  if (!matchesTraitClasses(data.instructionSets, ITrait::Reciprocals)) return false;

  traits->push_back(createTrait(ITrait::Reciprocals,
                                joinLines(translate("reciprocal_operations_trait_text"),
                                          translate("reciprocal_operations_trait_suggestion")),
                                InstructionSets));
  return true;
}

}  // namespace data_models2::issues
