#pragma once

#include "data_abstractions2/i_node.h"

namespace data_models2::issues {

/// The direct children of `row` in tree order; empty for a null row or a row
/// that can't give its children.
data_abstractions2::generic_iterator_t<data_abstractions2::row_t> getChildren(data_abstractions2::row_t row);

}  // namespace data_models2::issues
