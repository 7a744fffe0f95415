#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_source_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "data_abstractions2/i_visit_handler.h"
#include "discmodels2/recommendations_model/core/detector.h"
#include "discmodels2/recommendations_model/data/i_data_provider.h"

namespace data_models2 {

/// What escaped the fill or a detector on one row, with the row named
/// ("relax in relax.cpp:43: basic_string::at"). The scan stops there: a
/// scan that failed on a row must not pass for one that found nothing.
class ScanError : public std::runtime_error {
 public:
  ScanError(const std::string& row, const std::string& what) : std::runtime_error(row + ": " + what), row_(row) {}
  const std::string& row() const { return row_; }

 private:
  std::string row_;
};

/// Runs the detectors over the bottom-up tree, children before parents, and
/// stores on each row what they find, together with whatever its children
/// found that the row lacks: a function row shows the findings of its loops.
///
/// Rows with type bit 2 are skipped entirely: not counted, not scanned, not
/// lifted into. A row whose detectors find nothing keeps the findings it had.
/// Lifted records are shared with the child, not copied, and are counted only
/// on the row that made them.
///
/// Made with foundation::pool_allocate for one walk; owns the provider and
/// the detectors, and is used from the walking thread only.
class ScanIssuesRowVisitHandler
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  using IssueDetectors = std::vector<std::shared_ptr<issues::IssueDetector>>;
  using TraitDetectors = std::vector<std::shared_ptr<issues::TraitDetector>>;

  ScanIssuesRowVisitHandler(data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel,
                            data_abstractions2::sptr_t<data_abstractions2::IResultController> resultController,
                            data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager);
  ~ScanIssuesRowVisitHandler() override;

  /// Does nothing: all the work needs the children done first.
  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& fromParent,
                                                   bool& descend) override;
  /// Counts the row, runs the detectors on it, stores their findings and
  /// lifts those of its children. Throws ScanError when the fill or a
  /// detector throws on the row.
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

  /// Runs the trait detectors on `row`; when any found something, points
  /// `result` at all traits found and answers true. Otherwise `result` is
  /// left alone.
  bool getTraits(const data_abstractions2::row_t& row,
                 data_abstractions2::generic_iterator_t<data_abstractions2::sptr_t<data_abstractions2::ITrait>>& result)
      const;
  /// Runs the issue detectors of the row's kind (loop or not) on `row`; when
  /// any found something, points `result` at the issues, sorted stably by
  /// IRecommendationBase::comparer, and answers true. On a marked row (type
  /// bit 1024) every issue and recommendation gets the flag 32.
  bool getIssues(const data_abstractions2::row_t& row,
                 data_abstractions2::generic_iterator_t<data_abstractions2::sptr_t<data_abstractions2::IIssueEx>>&
                     result) const;
  /// Writes the loop counts and the per-id record counts of the walk to the
  /// feature statistics. Partial walks write what they counted.
  void writeStatCounters() const;

  /// The detectors in the order they run: on loop rows, on other rows, and
  /// the trait detectors on every row.
  const IssueDetectors& loopDetectorList() const { return loopDetectors; }
  const IssueDetectors& otherDetectorList() const { return otherDetectors; }
  const TraitDetectors& traitDetectorList() const { return traitDetectors; }

 protected:
  /// For tests: a driver over the given provider and detector lists, in the
  /// given order, in place of the production set.
  ScanIssuesRowVisitHandler(std::shared_ptr<IDataProvider> dataProvider, IssueDetectors loopDetectors,
                            IssueDetectors otherDetectors, TraitDetectors traitDetectors);

 private:
  void storeOwnFindings(const data_abstractions2::row_t& row);
  /// "function in file:line" of the row, as far as the result tells.
  std::string describeRow(const data_abstractions2::row_t& row) const;
  void liftChildFindings(const data_abstractions2::row_t& row);

  unsigned outerLoopCount = 0;
  unsigned innermostLoopCount = 0;
  std::map<std::string, unsigned> statCounters;
  IssueDetectors loopDetectors;
  IssueDetectors otherDetectors;
  TraitDetectors traitDetectors;
  std::shared_ptr<IDataProvider> dataProvider;
  /// Where rows are described from when a scan fails on one; may be null.
  data_abstractions2::sptr_t<data_abstractions2::IDataset> bottomUp;
};

}  // namespace data_models2
