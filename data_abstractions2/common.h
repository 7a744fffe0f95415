#pragma once
// Names that every interface of the data layer uses.

#include <cstdint>

#include "platform/foundation/generic_iterator.h"
#include "platform/foundation/mutex.h"
#include "platform/foundation/ref_counted.h"
#include "platform/foundation/sptr.h"
#include "platform/foundation/variant.h"
#include "platform/foundation/variant_bag.h"

namespace data_abstractions2 {

using foundation::generic_iterator_t;
using foundation::ref_countable_t;
using foundation::row_lock_t;
using foundation::sptr_t;
using foundation::variant_bag_t;
using foundation::variant_t;

/// The trees of a result.
enum DataType : int {
  DataTypeNone = 0,
  BottomUp = 1,  ///< loops and functions, children are inner loops
  CallTree = 2,  ///< call tree, children are callees
};

}  // namespace data_abstractions2
