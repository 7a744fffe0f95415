#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds an innermost loop whose instruction mix counts instructions of the
/// class in column 77 and none of the class in column 78, and recommends a
/// directive that tells the compiler to ignore assumed dependencies.
///
/// Skips split loops (their parts carry the code), rows without an
/// instruction mix, and rows that are neither vectorized (type 256) nor
/// of type 4096.
class IssueCDI : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
