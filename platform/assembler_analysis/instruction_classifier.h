#pragma once
// Internal to the assembler analysis service: the class word of a decoded
// instruction. Only the service's sources include this header, so the
// decoder's types stay out of every other target.

#include <vector>

#include <Zydis/Zydis.h>

#include "platform/assembler_analysis/instruction_class.h"

namespace assembler_analysis {

/// Computes the class word of one decoded instruction: the mnemonic's
/// classes (mnemonic_classes.h), then what the decoder knows (call, branch,
/// string, system, x87, lock prefix), then what the operands show (memory
/// read or written, SIMD, widest vector, element types, scalar or packed).
///
/// Scalar or packed: a SIMD instruction is scalar when its mnemonic names a
/// single-element operation (addss, vfmadd231sd, cvtsi2sd, movd, pinsrd),
/// otherwise packed when a vector register operand holds more than one
/// element. x87 arithmetic is scalar. General-register instructions are
/// neither.
///
/// The per-mnemonic table is built once per process, at the first use of
/// instance(); classify() is then a lookup and one pass over at most ten
/// operands. Generators are made per walk, so they share the one table.
class InstructionClassifier {
 public:
  static const InstructionClassifier& instance();

  class_mask_t classify(const ZydisDecodedInstruction& instruction, const ZydisDecodedOperand* operands) const;

 private:
  InstructionClassifier();

  std::vector<class_mask_t> byMnemonic_;
};

}  // namespace assembler_analysis
