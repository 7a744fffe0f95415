#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks hot split vectorized loops whose vector body runs at most two
/// iterations while a peel or remainder part runs some: most of the work
/// then happens in the scalar or masked parts around the vector body. Makes
/// two traits, for the loop's summary column and its trip count column.
///
/// Skips loops that are not split or not vectorized, rows that are no
/// loops, marked rows and marked parts, and loops that are not hot.
class TraitPeelRemainder : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
