#include "platform/importer/remarks.h"

namespace nimbex::importer {

bool readGccOptRecord(const std::string& path, RemarkSet&, std::string& error) {
  error = path + ": gcc record reading is not built yet";
  return false;
}
bool readClangOptYaml(const std::string& path, RemarkSet&, std::string& error) {
  error = path + ": clang record reading is not built yet";
  return false;
}
bool readRemarksBelow(const std::string&, RemarkSet&, std::string&) { return true; }

}  // namespace nimbex::importer
