#pragma once
// Lock types used by the rows and the engine. Both are recursive because a
// row's lock is taken again by code that already holds it (a parent reading
// its own findings while lifting those of its children).

#include <memory>

#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/lock_types.hpp>

namespace foundation {

using mutex_t = boost::recursive_mutex;
using row_lock_t = std::unique_ptr<boost::unique_lock<boost::recursive_mutex>>;

}  // namespace foundation
