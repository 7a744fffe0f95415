#include "discmodels2/recommendations_model/traits/trait_low_granularity.h"

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {
// Seconds per entry below which entering and leaving the loop weighs as
// much as its work.
constexpr double kShortestEntry = 1e-08;
constexpr double kHotPercent = 10.0;
}  // namespace

bool TraitLowGranularity::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isInnermostLoop || !data.isLoop || data.isVectorized || data.typeFlag1024) return false;

  if (data.callCount == 0 || !(data.totalTime > 0.0)) return false;
  const double perCall = data.totalTime / static_cast<double>(data.callCount);
  if (!(perCall < kShortestEntry)) return false;
  if (!isHotLoop(*dataProvider, row, kHotPercent)) return false;

  const std::string text = translate("low_granularity_trait_text");
  traits->push_back(createTrait(ITrait::LowGranularityFirst, text, TraitColumn140));
  traits->push_back(
      createTrait(ITrait::LowGranularitySecond, joinLines(translate("low_granularity_trait_header"), text),
                  TraitColumn142));
  return true;
}

}  // namespace data_models2::issues
