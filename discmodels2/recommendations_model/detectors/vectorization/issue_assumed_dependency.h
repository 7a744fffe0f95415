#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a scalar loop that the compiler kept scalar because it assumed a
/// dependency (diagnostic 15344), and lets the dependency analysis decide
/// the advice: run the analysis, force vectorization when it found no
/// dependency, mind the vector length when it found one (then the issue is
/// the proven dependency), or handle the reduction when that is all it
/// found.
///
/// Skips vectorized and split loops, and rows without a function instance:
/// the dependency data hangs off that.
class IssueAssumedDependency : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
