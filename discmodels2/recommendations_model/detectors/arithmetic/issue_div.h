#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds floating-point divisions and square roots in an innermost loop's
/// machine code that the compile options keep exact, and recommends the
/// option that lets the compiler use the faster reciprocal forms.
///
/// Skips loops built under a strict or precise floating-point model and
/// AVX-512 code: there the exact forms are either required or already cheap.
/// Skips a division whose result is overwritten by a later instruction, and
/// one whose value is reloaded from a constant, as nothing is gained there.
/// An option of the division or square root family in either sense means
/// the user has decided, and that recommendation is left out.
class IssueDIV : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
