#include "platform/foundation/path.h"

#include <boost/filesystem/operations.hpp>

namespace foundation {

bool path_t::exists() const {
  boost::system::error_code ec;
  return !path_.empty() && boost::filesystem::exists(path_, ec);
}

}  // namespace foundation
