#include "discmodels2/recommendations_model/traits/trait_peel_remainder.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "discmodels2/recommendations_model/core/get_children.h"
#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_gates.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {
// A vector body of at most this many iterations does too little to pay for
// the parts around it.
constexpr std::uint64_t kFewVectorIterations = 2;
constexpr double kHotPercent = 5.0;
}  // namespace

bool TraitPeelRemainder::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.isSplitLoop || !data.isLoop || !data.isVectorized || data.typeFlag1024) return false;

  std::uint64_t minVector = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t maxOther = 0;
  for (auto children = getChildren(row); !children.at_end(); children.next()) {
    const CommonData& child = dataProvider->getData(children.current());
    if (child.typeFlag1024) continue;
    if (child.isVectorBodyPart && child.isVectorized) {
      minVector = std::min(minVector, child.tripCountAverage);
    } else if (child.isVectorized ? child.isPeelPart : (child.isRemainderPart || child.isPeelPart)) {
      // A vectorized remainder is a masked vector body of its own, not
      // scalar overhead; a vectorized peel still is.
      maxOther = std::max(maxOther, child.tripCountAverage);
    }
  }
  if (minVector > kFewVectorIterations || maxOther == 0) return false;
  if (!isHotLoop(*dataProvider, row, kHotPercent)) return false;

  const std::string text = translate("peel_remainder_trait_text");
  traits->push_back(createTrait(ITrait::PeelRemainderFirst, text, TraitColumn142));
  traits->push_back(createTrait(ITrait::PeelRemainderSecond, text, TripCountAverage));
  return true;
}

}  // namespace data_models2::issues
