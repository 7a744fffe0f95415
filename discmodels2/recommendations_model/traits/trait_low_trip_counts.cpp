#include "discmodels2/recommendations_model/traits/trait_low_trip_counts.h"

#include <cstdint>

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/trait_factory.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {
constexpr double kHotPercent = 5.0;
}  // namespace

bool TraitLowTripCounts::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isInnermostLoop || !data.isLoop || data.isVectorized || data.typeFlag1024) return false;

  // The yardstick is the machine the advice is read on: how many byte-sized
  // elements one of its widest vectors holds.
  const std::uint64_t unit = static_cast<std::uint64_t>(system_info::SystemInfo().getMaxVectorLength() / 8);
  // One vector's worth of iterations vectorizes without a remainder, so it
  // is no low trip count.
  if (data.tripCountAverage >= 2 * unit || data.tripCountAverage == unit) return false;
  if (!isHotLoop(*dataProvider, row, kHotPercent)) return false;

  const std::string text = translate("low_trip_counts_trait_text");
  traits->push_back(createTrait(ITrait::LowTripCountsOuter, text, TraitColumn142));
  traits->push_back(createTrait(ITrait::LowTripCounts, text, TripCountAverage));
  return true;
}

}  // namespace data_models2::issues
