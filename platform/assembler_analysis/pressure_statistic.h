#pragma once
// One figure of register pressure.

#include <cstdint>

namespace assembler_analysis {

/// A statistic of RegisterPressure. What `registers` and `accesses` count
/// depends on the type:
///
/// | Type | registers | accesses |
/// |---|---|---|
/// | 0 GeneralRegisters | distinct general registers named (rsp excluded) | operand references to them, addresses included |
/// | 1 MaskRegisters | distinct k registers, as operands or write masks | references to them |
/// | 2 VectorSpills | distinct vector registers stored to stack slots by moves | such stores to a slot that the code also reads |
/// | 3 VectorFills | distinct vector registers loaded from stack slots by moves | such loads from a slot that the code also writes |
/// | 4 VectorStackOperands | distinct vector registers combined with a stack slot by a non-move | such reads of a slot that the code also writes |
/// | 5 VectorRegisters | distinct xmm/ymm/zmm numbers named (xmm3 and ymm3 are one) | operand references to them |
/// | 6 GeneralSpills | as 2, for general registers | as 2 |
/// | 7 GeneralFills | as 3, for general registers | as 3 |
///
/// For the register types (0, 1, 5) `instructions` is the number of lines
/// that name such a register. For the stack traffic types (2, 3, 4, 6, 7) it
/// is the number of instructions of that kind, and `accesses` counts those
/// of them that make a round trip within the code: the value goes to the
/// stack and comes back on every pass. A lone store with no load of its slot
/// counts in `registers` and `instructions` but not in `accesses`.
class PressureStatistic {
 public:
  enum Type : int {
    GeneralRegisters = 0,
    MaskRegisters = 1,
    VectorSpills = 2,
    VectorFills = 3,
    VectorStackOperands = 4,
    VectorRegisters = 5,
    GeneralSpills = 6,
    GeneralFills = 7,
    TypeCount = 8,
  };

  std::uint8_t registers = 0;
  std::uint64_t accesses = 0;
  std::uint64_t instructions = 0;
};

}  // namespace assembler_analysis
