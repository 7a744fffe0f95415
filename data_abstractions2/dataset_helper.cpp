#include "data_abstractions2/i_dataset_helper.h"

#include <utility>

#include "data_abstractions2/dataset_walker.h"

namespace data_abstractions2 {

sptr_t<IDatasetHelper> IDatasetHelper::create(sptr_t<IDataset> dataset) {
  if (!dataset) return nullptr;
  return foundation::pool_allocate<DatasetWalker, IDatasetHelper>(std::move(dataset));
}

sptr_t<IDatasetHelper> IDatasetHelper::create(sptr_t<IDataset> dataset, generic_iterator_t<row_t> roots) {
  if (!dataset) return nullptr;
  return foundation::pool_allocate<DatasetWalker, IDatasetHelper>(std::move(dataset), std::move(roots));
}

}  // namespace data_abstractions2
