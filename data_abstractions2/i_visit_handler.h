#pragma once
// Visitors of the dataset walker.

#include <vector>

#include "data_abstractions2/i_node.h"

namespace data_abstractions2 {

template <class Node>
class IVisitHandler : public ref_countable_t {
 public:
  /// Kind of visitor, for diagnostics; 0 unless a handler says otherwise.
  virtual int get_type() const { return 0; }
  /// Called parent first. The returned bag is handed to each child as
  /// `fromParent`. Clearing `descend` keeps the walk out of the row's children.
  virtual variant_bag_t handlePreVisit(sptr_t<Node> row, const variant_bag_t& fromParent, bool& descend) = 0;
  /// Called children first, with the bags the children returned, in child order.
  virtual variant_bag_t handlePostVisit(sptr_t<Node> row, const std::vector<variant_bag_t>& fromChildren) = 0;
};

struct Grouping {};

template <class Kind>
class IFilter : public ref_countable_t {
 public:
  /// False hides the row and everything below it from the walk.
  virtual bool accept(const row_t& row) const = 0;
};

}  // namespace data_abstractions2
