#include "discmodels2/recommendations_model/core/get_children.h"

namespace data_models2::issues {

data_abstractions2::generic_iterator_t<data_abstractions2::row_t> getChildren(data_abstractions2::row_t row) {
  data_abstractions2::generic_iterator_t<data_abstractions2::row_t> children;
  if (!row) return children;
  // All children (filter 0), direct ones only (flags 1).
  if (row->getChildren(0, 1, children) == -1) return {};
  return children;
}

}  // namespace data_models2::issues
