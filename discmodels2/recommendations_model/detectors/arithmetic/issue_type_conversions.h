#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds loops whose instruction classes include conversions between data
/// types, and recommends the smallest type that does the job. Conversions
/// cost an instruction (often a cross-lane one) per element and halve the
/// useful width when a narrow type is widened.
///
/// Skips rows without the instruction classes field, even when other rows of
/// the same loop have it: the finding belongs to the code that converts.
class IssueTypeConversions : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
