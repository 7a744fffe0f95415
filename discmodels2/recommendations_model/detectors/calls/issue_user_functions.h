#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a scalar innermost loop (a whole loop or its vector body part)
/// whose calls of the user's own functions keep it from being vectorized,
/// and recommends inlining when the options switch it off and declaring the
/// functions as vector functions, naming them. With an assumed dependency
/// (15344) it also recommends forcing vectorization beside the plain advice.
///
/// Skips vectorized loops (the serialized-calls detector speaks for them)
/// and split loops.
class IssueUserFunctions : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
