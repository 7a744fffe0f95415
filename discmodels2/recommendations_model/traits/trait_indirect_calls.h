#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks loops whose own code calls through a pointer in memory (a virtual
/// or function-pointer call), which stops vectorization and may mispredict.
///
/// Looks at the loop's own call-tree rows only, not at loops inside it.
/// Skips rows without code in the call tree. Not in the scan's list of
/// traits: the issue detectors cover these calls.
class TraitIndirectCalls : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
