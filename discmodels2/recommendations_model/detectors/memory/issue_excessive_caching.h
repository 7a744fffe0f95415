#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a loop whose stores the data layer lists as candidates for
/// non-temporal stores (data written once and not read again soon, which
/// only evicts useful lines), and recommends such stores.
///
/// Silent when the first entry of the list says the loop uses non-temporal
/// stores already; later entries are not looked at.
class IssueExcessiveCaching : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;
};

}  // namespace data_models2::issues
