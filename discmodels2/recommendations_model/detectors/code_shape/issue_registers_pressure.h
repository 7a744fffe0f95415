#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds vectorized innermost loops that use every vector register of their
/// instruction set and spill to the stack. A loop unrolled more than once is
/// told to unroll less; otherwise, when enough of its code is of neither the
/// data-movement nor the arithmetic kind, it is told to split the loop.
///
/// Skips split loops (their parts are judged one by one), loops without the
/// code mode or vectorization fields, loops with a free vector register and
/// loops that spill nothing. A loop flagged as already split by the compiler
/// gets no split advice, and so no issue unless it is unrolled.
class IssueRegistersPressure : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
