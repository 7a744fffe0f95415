#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks vectorized loops whose code stores through masks. A masked store
/// writes only the lanes of a vector whose condition holds and costs more
/// than a plain store; it usually comes from a condition inside the loop.
///
/// Skips scalar loops, rows that are no loops and marked rows.
class TraitMaskedStores : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
