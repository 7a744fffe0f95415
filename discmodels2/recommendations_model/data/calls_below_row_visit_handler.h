#pragma once

#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_visit_handler.h"
#include "discmodels2/recommendations_model/data/presence_row_visit_handler.h"

namespace data_models2 {

/// Finds the call-tree rows that have, somewhere beneath them, a row that
/// the walk over what a loop calls would classify
/// (PresenceRowVisitHandler::classifies). Below every other row that walk
/// can only pass through loops and unknown rows, so it need not go there.
///
/// Without this a nest of loops is walked again from each of its loops: a
/// chain of n loops costs n*n/2 row visits. Post-visit only, one pass over
/// the tree; the pre-visit does nothing.
class CallsBelowRowVisitHandler
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  using RowSet = PresenceRowVisitHandler::RowSet;

  /// `rows` is borrowed and must outlive the walk; it receives the rows
  /// with something classified beneath them.
  CallsBelowRowVisitHandler(data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset, RowSet* rows);

  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& fromParent,
                                                   bool& descend) override;
  /// A child's bag is non-empty when its subtree, the child included, holds
  /// a classified row.
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

 private:
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  RowSet* rows;
};

}  // namespace data_models2
