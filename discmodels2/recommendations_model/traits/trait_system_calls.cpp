#include "discmodels2/recommendations_model/traits/trait_system_calls.h"

#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

bool TraitSystemCalls::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.callsSystemFunctions) return false;

  traits->push_back(createTrait(ITrait::SystemCalls, translate("system_calls_trait_text"), FieldNone));
  return true;
}

}  // namespace data_models2::issues
