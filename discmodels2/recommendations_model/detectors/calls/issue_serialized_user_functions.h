#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a vectorized loop whose calls of the user's own functions run one
/// lane at a time, and recommends inlining when the options switch it off
/// and vector variants of the functions, naming them.
///
/// Skips scalar loops (the user-functions detector speaks for them) and
/// split loops.
class IssueSerializedUserFunctions : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
