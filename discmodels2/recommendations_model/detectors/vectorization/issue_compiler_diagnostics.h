#pragma once

#include <string>
#include <vector>

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Turns the Vorex compiler's non-vectorization diagnostic on a loop into an
/// issue. Documented numbers get a text with an example in the row's
/// language and one recommendation with further reading; any other number
/// gets a bare issue titled with the compiler's own message.
///
/// Skips rows of other compilers and rows without a diagnostic number. It
/// does not look at whether the loop was vectorized, nor at what other
/// detectors found: every Vorex row with a number gets exactly one issue.
///
/// 15333 becomes documented for every row once the first C-family row has
/// been seen in the process; a Fortran row before that takes the bare path.
/// That order dependence is kept on purpose.
class IssueCompilerDiagnostics : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

  /// True at the first bottom-up child that is a vectorized loop.
  bool hasVectorizedChild(const data_abstractions2::row_t& row) const;

  /// Every catalogue key the detector can ask for, variants included: its
  /// keys are built from the diagnostic number at run time.
  static std::vector<std::string> messageKeys();
};

}  // namespace data_models2::issues
