#pragma once
// `sptr_t<T>`: the intrusive pointer that holds every model object and record.

#include <boost/intrusive_ptr.hpp>

#include "platform/foundation/ref_counted.h"

namespace foundation {

template <class T>
using sptr_t = boost::intrusive_ptr<T>;

/// Allocates a long-lived object with its reference count and returns it
/// through the interface or class `T`. `Impl` is the concrete class.
template <class Impl, class T = Impl, class... Args>
sptr_t<T> pool_allocate(Args&&... args) {
  return sptr_t<T>(new ref_counted_t<Impl>(std::forward<Args>(args)...));
}

}  // namespace foundation
