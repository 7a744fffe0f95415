#include "platform/importer/callgrind.h"

namespace nimbex::importer {

bool readCallgrind(const std::string& path, CallgrindProfile&, std::string& error) {
  error = path + ": callgrind reading is not built yet";
  return false;
}

}  // namespace nimbex::importer
