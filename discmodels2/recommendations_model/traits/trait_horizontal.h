#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks vectorized loops that combine the lanes of a vector (horizontal
/// operations such as the final sum of a reduction or a shuffle). These
/// operations work across lanes, serialise within a vector and cost several
/// cycles each.
///
/// Skips scalar loops, rows that are no loops, marked rows and loops whose
/// instruction set name holds "SSE" in capitals; since instruction set
/// names reach the record lowered, that last skip never happens for data
/// read from a result, and is kept so that records made otherwise behave
/// the same.
class TraitHorizontal : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
