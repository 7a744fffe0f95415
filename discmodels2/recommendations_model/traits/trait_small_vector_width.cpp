#include "discmodels2/recommendations_model/traits/trait_small_vector_width.h"

#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/model_support/isa_helpers.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {
constexpr int kFullWidthBits = 256;
}  // namespace

bool TraitSmallVectorWidth::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isVectorized || !data.isLoop || !data.isVectorBodyPart || data.typeFlag1024) return false;

  const int low = isa_helpers::getMinVectorWidth(data.vectorLengthText);
  const int high = isa_helpers::getMaxVectorWidth(data.vectorLengthText);
  // AVX2 has full-width vectors for every type, so any narrow vector is a
  // loss; AVX only for floating point, so one wide vector is all it can be
  // asked for. Names in capitals: see the class comment.
  const bool avx2Narrow = data.isaName.find("AVX2") != std::string::npos && low < kFullWidthBits;
  const bool avxNarrow = data.isaName.find("AVX") != std::string::npos && high < kFullWidthBits;
  if (!avx2Narrow && !avxNarrow) return false;

  traits->push_back(createTrait(ITrait::SmallVectorWidth, translate("small_vector_width_text"), VectorWidth));
  return true;
}

}  // namespace data_models2::issues
