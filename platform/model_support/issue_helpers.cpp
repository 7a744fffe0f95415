#include "platform/model_support/issue_helpers.h"

#include "platform/model_support/mangle_rules_helpers.h"

namespace data_models2::issue_helpers {

using system_info::SystemInfo;

bool isVectorFunctionByMangledName(std::string_view name) {
  mangle_rules_helpers::VectorFunctionDescriptor descriptor;
  return mangle_rules_helpers::demangleVectorFunctionName(name, descriptor);
}

int maxRegistersNumber(std::int64_t codeMode, SystemInfo::IsaExtensions isa) {
  if (isa == SystemInfo::IsaNone) return 0;
  if (codeMode == CodeMode32) return 8;
  return isa >= SystemInfo::IsaAvx512 ? 32 : 16;
}

}  // namespace data_models2::issue_helpers
