#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Turns the data layer's comparison of a loop with its 512-bit shadow (the
/// compiler's estimate of the same loop with 512-bit vectors) into advice:
/// turn 512-bit vectors off where the estimate says they slow the loop, on
/// where it says they would speed it up.
///
/// Skips every other verdict, including "no shadow" and "no difference".
class IssueZmmShadow : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
