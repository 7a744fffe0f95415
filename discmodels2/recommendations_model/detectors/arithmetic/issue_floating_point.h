#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds innermost loops that call scalar math library functions, and
/// proposes what the compile options and the C library allow: inlining the
/// calls, the fast transcendental forms under the precise model, leaving
/// the strict model, and under GCC the vector math library and a C library
/// with vector variants (libmvec).
///
/// Skips rows whose compile options were not recorded, even with math calls:
/// every recommendation rests on them. Its gate is the row's own facts; a
/// marked row is not required.
class IssueFloatingPoint : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
