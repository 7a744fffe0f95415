#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks vectorized loops whose vector length was set in the source rather
/// than chosen by the compiler. When the loop's main data type and
/// instruction set are known, the text adds the length that would fill a
/// vector of that instruction set.
///
/// Skips scalar loops, rows that are no loops and marked rows.
class TraitOverriddenVL : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
