#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_visit_handler.h"

namespace data_models2 {

/// Collects (self time, row) for every loop of a tree, so that a loop can be
/// ranked by self time among all loops.
///
/// Skips rows that are no loops, marked rows (type bit 1024) and loops
/// without a readable self time.
class SelfTimeLoopPairRowVisitHandler
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  using LoopList = std::vector<std::pair<double, data_abstractions2::row_t>>;

  explicit SelfTimeLoopPairRowVisitHandler(data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset);

  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& fromParent,
                                                   bool& descend) override;
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

  /// The loops in visiting order.
  const LoopList& getLoops() const { return loops; }

  /// The rank of `selfTime` in `loops`, which must be sorted ascending: the
  /// number of entries from the first one not below `selfTime` to the end.
  /// The hottest loop has rank 1, and loops of equal time share a rank.
  static std::size_t getLowerBound(const LoopList& loops, double selfTime);

 private:
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  LoopList loops;
};

}  // namespace data_models2
