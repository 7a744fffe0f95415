#pragma once

#include <map>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_visit_handler.h"

namespace data_models2 {

/// Indexes every row of a tree by its function instance index, so that rows
/// of the two trees that stand for one thing can be matched.
///
/// A row whose index can't be read is filed under -1, like every other such
/// row. The name carries its history: the index is meant to move into the
/// host's datasets, which would make this visitor unnecessary.
class FuncInstIdxRowVisitHandlerRemoveMe
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  using RowIndex = std::multimap<long long, data_abstractions2::row_t>;

  /// `rows` is borrowed and must outlive the walk.
  FuncInstIdxRowVisitHandlerRemoveMe(data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset,
                                     RowIndex* rows);

  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& fromParent,
                                                   bool& descend) override;
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

 private:
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  RowIndex* rows;
};

}  // namespace data_models2
