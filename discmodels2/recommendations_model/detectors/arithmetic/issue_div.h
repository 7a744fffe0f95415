#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds floating-point divisions and square roots in an innermost loop's
/// machine code that the compile options keep exact, and recommends the
/// option that lets the compiler use the faster reciprocal forms.
///
/// Skips loops built under a strict or precise floating-point model and
/// AVX-512 code: there the exact forms are either required or already cheap.
/// A division is tracked by the text of its last operand (in Intel order the
/// divisor): it no longer counts once a later instruction writes that
/// operand, or a move loads it from a constant (a division by a literal,
/// which the compiler handles on its own).
/// An option of the division or square root family in either sense means
/// the user has decided, and that recommendation is left out.
class IssueDIV : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
