#pragma once
// Columns of an instruction mix: counts of instructions by what they do.
//
// The numbers are those of the host's stored mixes (docs/result-format.md,
// `instructionMix`), so a mix counted from lines reads like one the host
// collected. Every vector memory instruction is counted in exactly one of
// 26..30, and all of them also in column 5, so "memory minus vector memory"
// is the scalar memory traffic.
//
//   column  counts
//        1  compute instructions without a memory operand
//        5  memory instructions that compute nothing (loads, stores, gathers)
//        9  all instructions (bad data excluded)
//       26  vector loads            27  vector stores
//       28  gathers                 29  scatters
//       30  masked or partial vector memory (maskmov, {k} memory, compress/expand)
//       45  compute instructions with a memory operand
//       74  fused multiply-adds

#include <cstdint>
#include <map>

namespace assembler_analysis {

enum MixColumn : int {
  MixCompute = 1,
  MixMemory = 5,
  MixAll = 9,
  MixVectorLoad = 26,
  MixVectorStore = 27,
  MixGather = 28,
  MixScatter = 29,
  MixVectorMasked = 30,
  MixComputeWithMemory = 45,
  MixFusedMultiplyAdd = 74,
};

/// Counts by column; a column without instructions is present with 0.
using InstructionMix = std::map<int, std::uint64_t>;

}  // namespace assembler_analysis
