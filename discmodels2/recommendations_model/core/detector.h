#pragma once
// The base of all detectors.

#include <memory>
#include <utility>
#include <vector>

#include "data_abstractions2/i_node.h"
#include "data_abstractions2/i_records.h"
#include "discmodels2/recommendations_model/data/i_data_provider.h"

namespace data_models2::issues {

/// Decides whether one kind of finding is present in a row.
///
/// The scan driver creates every detector once per scan, hands all of them
/// one shared provider, and calls `detect` on the scan's thread, one row at a
/// time. A detector keeps nothing between rows except constant tables, so one
/// instance serves the whole walk.
///
/// `detect` follows one shape: null checks, `dataProvider->getData(row)`, the
/// detector's gates in a fixed order, then building the record(s). A failed
/// gate returns false and leaves `out` alone. A detector appends at most one
/// record per id and row; the order of `out` has no meaning because the
/// driver sorts it.
template <class T>
class Detector {
 public:
  explicit Detector(std::shared_ptr<IDataProvider> dataProvider) : dataProvider(std::move(dataProvider)) {}
  Detector(const Detector&) = delete;
  Detector& operator=(const Detector&) = delete;

  /// Appends this detector's findings on `row` to `*out`; true when it
  /// appended at least one.
  virtual bool detect(data_abstractions2::row_t row, T out) const = 0;
  virtual ~Detector() = default;

 protected:
  std::shared_ptr<IDataProvider> dataProvider;
};

using IssueList = std::shared_ptr<std::vector<data_abstractions2::sptr_t<data_abstractions2::IIssueEx>>>;
using TraitList = std::shared_ptr<std::vector<data_abstractions2::sptr_t<data_abstractions2::ITrait>>>;

/// Base of the Issue... detectors.
using IssueDetector = Detector<IssueList>;
/// Base of the Trait... detectors.
using TraitDetector = Detector<TraitList>;

}  // namespace data_models2::issues
