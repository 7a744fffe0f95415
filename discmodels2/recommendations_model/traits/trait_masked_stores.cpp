#include "discmodels2/recommendations_model/traits/trait_masked_stores.h"

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

bool TraitMaskedStores::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isVectorized || !data.isLoop || data.typeFlag1024) return false;
  if (!matchesTraitClasses(data.instructionSets, ITrait::MaskedStores)) return false;

  traits->push_back(createTrait(
      ITrait::MaskedStores,
      joinLines(translate("masked_stores_trait_text"), translate("masked_stores_trait_suggestion")),
      InstructionSets));
  return true;
}

}  // namespace data_models2::issues
