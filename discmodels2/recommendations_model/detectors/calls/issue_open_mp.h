#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a loop that calls the OpenMP runtime's thread-control or lock
/// functions, which keep it scalar, and recommends moving the thread calls
/// out of the loop, or else replacing the locks.
///
/// Skips split loops unless they are scalar innermost ones, and loops whose
/// runtime calls are neither kind: they get no issue at all.
class IssueOpenMP : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
