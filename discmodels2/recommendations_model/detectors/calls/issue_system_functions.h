#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a scalar innermost loop that reaches system functions through the
/// calls it makes, which keeps it from being vectorized, and recommends
/// moving those calls out of the loop.
///
/// Skips loops the compiler turned into a memory routine call (memset,
/// memcpy: that call is the optimization) and loops that call a system
/// function directly.
class IssueSystemFunctions : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
