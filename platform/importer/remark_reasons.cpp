#include "platform/importer/remarks.h"

namespace nimbex::importer {

int diagnosticForReason(const std::string&, const std::string&) { return -1; }

}  // namespace nimbex::importer
