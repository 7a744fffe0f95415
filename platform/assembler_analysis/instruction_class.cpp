#include "platform/assembler_analysis/instruction_class.h"

#include <array>

namespace assembler_analysis {

class_mask_t classMask(std::initializer_list<InstructionClass> classes) {
  class_mask_t mask;
  for (InstructionClass c : classes) mask.set(static_cast<std::size_t>(c));
  return mask;
}

class_mask_t classMaskOfBits(std::initializer_list<unsigned> bits) {
  class_mask_t mask;
  for (unsigned bit : bits) {
    if (bit < kInstructionClassCount) mask.set(bit);
  }
  return mask;
}

const char* instructionClassName(unsigned bit) {
  static constexpr std::array<const char*, kInstructionClassCount> names = {
      "floating-point add",
      "floating-point multiply",
      "floating-point subtract",
      "floating-point divide",
      "minimum/maximum",
      "compare",
      "move",
      "extending move",
      "broadcast",
      "shuffle",
      "floating-point square root",
      "conversion",
      "blend",
      "conditional move",
      "insert/extract",
      "unpack",
      "pack",
      "push/pop",
      "address computation",
      "mask register",
      "gather",
      "scatter",
      "fused multiply-add",
      "conditional branch",
      "jump",
      "return",
      "compress/expand",
      "string",
      "x87",
      "integer add/subtract",
      "integer multiply",
      "integer divide",
      "SIMD",
      "bit manipulation",
      "exchange",
      "atomic",
      "fence",
      "system",
      "instruction",
      "no-operation",
      "vector zeroing",
      "prefetch",
      "non-temporal",
      "set on condition",
      "reciprocal",
      "reciprocal square root",
      "reciprocal 14-bit",
      "reciprocal square root 14-bit",
      "reciprocal 28-bit",
      "reciprocal square root 28-bit",
      "absolute/sign",
      "horizontal",
      "dot product",
      "rounding",
      "logical",
      "reads memory",
      "writes memory",
      "scalar",
      "packed",
      "floating point",
      "call",
      "xmm width",
      "ymm width",
      "zmm width",
      "single precision",
      "double precision",
      "shift/rotate",
      "exponent/mantissa",
  };
  return bit < names.size() ? names[bit] : "";
}

}  // namespace assembler_analysis
