#include "discmodels2/recommendations_model/traits/trait_horizontal.h"

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

bool TraitHorizontal::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isVectorized || !data.isLoop || data.typeFlag1024) return false;
  // Compared in capitals against the lowered name on purpose; see the class
  // comment.
  if (data.isaName.find("SSE") != std::string::npos) return false;
  if (!matchesTraitClasses(data.instructionSets, ITrait::Horizontal)) return false;

  traits->push_back(createTrait(ITrait::Horizontal,
                                joinLines(translate("horizontal_trait_text"), translate("horizontal_trait_suggestion")),
                                InstructionSets));
  return true;
}

}  // namespace data_models2::issues
