#pragma once
// The part of an instruction's class word that its mnemonic alone decides.

#include <string_view>

#include "platform/assembler_analysis/instruction_class.h"

namespace assembler_analysis {

/// Classes of a lower-case mnemonic: what the operation is (add, divide,
/// move, shuffle, reciprocal ...). A leading "v" of the VEX/EVEX forms is
/// ignored, so "vaddps" and "addps" classify alike. Classes that depend on the
/// operands or on how the instruction was decoded (packed, memory access,
/// width, call, branch, string) are not decided here. Unknown mnemonics and
/// those of no interest (crypto, virtualisation) answer an empty mask.
class_mask_t classesOfMnemonic(std::string_view mnemonic);

/// True when the mnemonic names an operation on one element of a vector
/// register: the scalar floating-point forms ("addss", "vfmadd231sd",
/// "vrcp14ss"), scalar conversions ("cvtsi2sd", "cvttsd2si") and element
/// moves ("movd", "pinsrd", "extractps").
bool isSingleElementMnemonic(std::string_view mnemonic);

}  // namespace assembler_analysis
