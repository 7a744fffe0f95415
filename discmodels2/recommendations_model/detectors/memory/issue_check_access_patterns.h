#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a loop whose vector code shows signs of awkward memory access
/// (masked stores, horizontal operations, or the row's own mark) while no
/// stride data was collected for it, and recommends running the memory
/// access analysis.
///
/// Skips loops that have stride data: the inefficient-access detector speaks
/// for them. A scalar innermost loop passes the first test but, lacking the
/// vector traits, never the second.
class IssueCheckAccessPatterns : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
