#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks loops that call system functions, which the compiler can neither
/// inline nor vectorize.
///
/// Skips rows that reach no system function. Not in the scan's list of
/// traits: the issue detectors cover these calls.
class TraitSystemCalls : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
