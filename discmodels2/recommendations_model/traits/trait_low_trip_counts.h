#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks hot scalar innermost loops that run fewer iterations than fit into
/// two of the widest vectors of this machine (counting a vector as one
/// iteration per byte). Such loops gain little from vectorization as they
/// stand; their outer loop may be the better candidate. Makes two traits,
/// one for the trip count column and one for the loop's summary column.
///
/// Skips vectorized loops, rows that are no loops or not innermost, marked
/// rows, loops whose trip count is exactly one vector, and loops that are
/// not hot.
class TraitLowTripCounts : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
