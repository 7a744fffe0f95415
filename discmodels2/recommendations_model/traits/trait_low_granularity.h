#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks hot scalar innermost loops whose every entry takes less than ten
/// nanoseconds: the cost of entering and leaving such a loop is a large
/// share of its work. Makes two traits, one for the call count column and
/// one, with a heading, for the loop's summary column.
///
/// Skips vectorized loops, rows that are no loops or not innermost, marked
/// rows, loops without calls or time, and loops that are not hot.
class TraitLowGranularity : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
