#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Judges the stride shares of a loop that the memory access analysis
/// measured: many large strides suggest exchanging the loop with its outer
/// one, a mix without a ruling unit stride suggests another data layout
/// (structure of arrays, a layout template library for C-family code). For a
/// split Fortran loop it also looks at the parts for assumed-shape arrays
/// that are contiguous in fact and could be declared so.
///
/// Skips rows of other compilers than the Vorex compiler, rows that are
/// neither a scalar innermost loop nor a vector body (unless a Fortran part
/// is contiguous), and every row without stride data: nothing is said then,
/// not even the contiguity advice. Large shares between 5% and 30% say
/// nothing either.
class IssueInefficientAccessPatterns : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
