#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds the regular access patterns that hide behind a loop's gather and
/// scatter instructions: per variable, the one pattern the compiler reported
/// for it, as a row of a table in the recommendation and an item of its bag.
///
/// Skips variables without a recognised pattern (code 0) and variables the
/// compiler reported with two different patterns, for good: one pattern,
/// then another, then the first again still counts as two. All rows carry
/// the loop's first gather site, not one each.
class IssueGatherScatter : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
