#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Looks at the vector variants of functions that a vectorized loop calls
/// and, from their mangled names, recommends better ones: naming the target
/// processor in the function's vector attribute when a variant was built for
/// an older instruction set than the loop, and (for Fortran) a linear
/// reference for a parameter passed by value where the variant's body
/// gathers or scatters.
///
/// Skips scalar and split loops. One issue gathers the advice of all
/// callees, each recommendation once per callee that earns it, duplicates
/// included. A loop whose instruction set is unknown gets neither piece of
/// advice from a callee that has its instruction set and name recorded.
class IssueVectorFunctionAttributes : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
