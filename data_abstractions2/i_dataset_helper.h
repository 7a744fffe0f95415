#pragma once
// The walker of a dataset.
//
// Modes are bits: 1 calls handlePreVisit parent first, handing each child its
// parent's bag and honouring the descend flag; 2 calls handlePostVisit
// children first, with the bags of the children. Both may be set. The walk is
// iterative, so the depth of a tree is bounded only by memory. Between rows it
// polls the progress object, reports one step per row and stops when it is
// cancelled.

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_visit_handler.h"
#include "platform/foundation/progress.h"

namespace data_abstractions2 {

class IDatasetHelper : public ref_countable_t {
 public:
  enum VisitMode : int { PreVisit = 1, PostVisit = 2 };

  /// A walker over the whole tree; null for a null dataset.
  static sptr_t<IDatasetHelper> create(sptr_t<IDataset> dataset);
  /// A walker over the subtrees of `roots`; null for a null dataset.
  static sptr_t<IDatasetHelper> create(sptr_t<IDataset> dataset, generic_iterator_t<row_t> roots);

  /// False when the walk was cancelled before its end.
  virtual bool visitRows(sptr_t<IFilter<Grouping>> filter, sptr_t<IVisitHandler<INode<IRowSpecification>>> handler,
                         int mode, foundation::IProgress* progress) = 0;
};

}  // namespace data_abstractions2
