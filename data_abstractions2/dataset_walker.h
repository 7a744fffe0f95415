#pragma once
// Private to the data layer: the walker behind IDatasetHelper::create.

#include <optional>

#include "data_abstractions2/i_dataset_helper.h"

namespace data_abstractions2 {

/// Walks the rows of a dataset, or the subtrees of given roots, depth first
/// in tree order. Rows that the filter rejects are skipped with their whole
/// subtree; so are the children of a row whose pre-visit clears `descend`.
/// The walk keeps its own stack on the heap, one frame per level, so a deep
/// chain of rows costs memory, not native stack.
class DatasetWalker : public IDatasetHelper {
 public:
  explicit DatasetWalker(sptr_t<IDataset> dataset);
  DatasetWalker(sptr_t<IDataset> dataset, generic_iterator_t<row_t> roots);

  bool visitRows(sptr_t<IFilter<Grouping>> filter, sptr_t<IVisitHandler<INode<IRowSpecification>>> handler, int mode,
                 foundation::IProgress* progress) override;

 private:
  sptr_t<IDataset> dataset_;
  // Kept as given, position included: every walk starts from a copy.
  std::optional<generic_iterator_t<row_t>> roots_;
};

}  // namespace data_abstractions2
