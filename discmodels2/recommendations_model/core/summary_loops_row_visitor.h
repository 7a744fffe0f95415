#pragma once

#include <vector>

#include <boost/shared_ptr.hpp>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_visit_handler.h"
#include "platform/summary_store/recommendations_data.h"
#include "platform/summary_store/survey_ex_summary_data.h"

namespace data_models2 {

/// Picks the hottest loops that carry confident recommendations and fills
/// the summary store's records with them.
///
/// The walk (pre-visit, every row) collects each loop with its self time.
/// Rows that are not loops, marked rows (type bit 1024, whose findings are
/// someone else's) and loops without a self time are skipped. Choosing then
/// leaves out the compiler-diagnostics and potential-vectorizability issues
/// (issue flag 2), recommendations below the confidence asked for, and
/// loops that are left with nothing: such a loop does not use up a place.
///
/// Made with foundation::pool_allocate for one summary, on the task's
/// thread; it reads each row's findings under the row's lock.
class SummaryLoopsRowVisitor
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  /// How many loops the engine's summary lists, and the least confidence
  /// a recommendation needs to be listed.
  static constexpr unsigned summary_loops = 5;
  static constexpr int summary_min_confidence = 3;

  struct TimedLoop {
    data_abstractions2::row_t row;
    double time = 0.0;  ///< self time, seconds
  };

  explicit SummaryLoopsRowVisitor(data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset);

  /// Collects `row` when it is an unmarked loop with a self time.
  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& fromParent,
                                                   bool& descend) override;
  /// Not used: the visitor walks parents first only.
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

  /// Adds to `summary`, hottest first, up to `maxLoops` loops that have at
  /// least one recommendation of confidence `minConfidence` or more, each
  /// with those recommendations. Loops of equal time come in no set order.
  void getLoopsWithRecommendations(boost::shared_ptr<summary_store::SurveyExSummaryData> summary, unsigned maxLoops,
                                   int minConfidence);
  /// Adds `loop` to `summary` with its place, name, kind and `data`.
  void fillData(boost::shared_ptr<summary_store::SurveyExSummaryData> summary, const TimedLoop& loop,
                boost::shared_ptr<summary_store::RecommendationsData> data) const;

  /// The loops collected so far, in walk order until chosen from.
  const std::vector<TimedLoop>& loops() const { return timedLoops; }

 private:
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  std::vector<TimedLoop> timedLoops;
};

}  // namespace data_models2
