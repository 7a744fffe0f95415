#pragma once
// Small questions that several detectors ask about a loop's code.

#include <cstdint>
#include <string_view>

#include "platform/system_info/system_info.h"

namespace data_models2::issue_helpers {

/// True when `name` is the name of a compiled vector variant of a function
/// (see mangle_rules_helpers.h for the grammar): "_ZGVbN2v_sin" is one,
/// "sin" and "_Z3sind" are not.
bool isVectorFunctionByMangledName(std::string_view name);

/// The mode of a loop's code, the Field22 of a loop row.
enum CodeMode : std::int64_t {
  CodeModeUnknown = 0,
  CodeMode32 = 1,  ///< 32-bit code: 8 vector registers whatever the ISA
  CodeMode64 = 2,  ///< 64-bit code
};

/// The number of vector registers that code of `codeMode` for an
/// instruction set can use: 8 in 32-bit code; in 64-bit code 16 below
/// AVX-512 and 32 from AVX-512 on. A mode other than CodeMode32 counts as
/// 64-bit, the common case. 0 for IsaNone: with the instruction set unknown
/// no register count can be told.
int maxRegistersNumber(std::int64_t codeMode, system_info::SystemInfo::IsaExtensions isa);

}  // namespace data_models2::issue_helpers
