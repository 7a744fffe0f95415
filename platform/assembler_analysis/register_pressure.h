#pragma once
// Register pressure of a row's code.

#include <array>

#include "platform/assembler_analysis/pressure_statistic.h"

namespace assembler_analysis {

class AssemblerLines;

/// Counts how many registers a piece of code uses and how much it moves
/// between registers and stack slots (pressure_statistic.h has the table).
///
/// The analysis is off until enableAnalysis(): a record handed to the
/// generator without it gathers nothing, so only the caller that wants the
/// figures pays for them. The generator replaces the figures on each
/// generation.
///
/// What it sees: registers the instructions name, write masks, and address
/// registers. What it skips: registers used without being named (rax/rdx of
/// div, rsp of push), and rsp itself, which is never free for values. A
/// stack slot is [rsp+d] or [rbp-d] without an index register; two accesses
/// are to one slot when base and displacement are equal.
class RegisterPressure {
 public:
  void enableAnalysis() { enabled_ = true; }
  bool isEnabled() const { return enabled_; }

  /// Zeroes every statistic.
  void reset();
  /// Replaces the statistics with those of `lines`; does nothing unless the
  /// analysis is enabled. One pass over the lines.
  void analyze(const AssemblerLines& lines);

  /// The statistic of `type`; zeros for a type out of range.
  PressureStatistic getStatistic(PressureStatistic::Type type) const;

 private:
  bool enabled_ = false;
  std::array<PressureStatistic, PressureStatistic::TypeCount> statistics_{};
};

}  // namespace assembler_analysis
