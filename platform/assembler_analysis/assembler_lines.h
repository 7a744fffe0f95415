#pragma once
// The assembler analysis service: lines of machine code and what is known
// about them. Including this header gives the whole service: lines, operands,
// register pressure and the generator that fills them.

#include <cstddef>
#include <cstdint>
#include <unordered_set>
#include <vector>

#include "platform/assembler_analysis/assembler_generator.h"
#include "platform/assembler_analysis/assembler_line.h"
#include "platform/assembler_analysis/instruction_class.h"
#include "platform/assembler_analysis/instruction_mix_column.h"
#include "platform/assembler_analysis/operand.h"
#include "platform/assembler_analysis/register_pressure.h"

namespace assembler_analysis {

/// The lines of one row's code, in address order, and counts over them.
///
/// Instruction categories: a category is a set of one-bit (or wider) class
/// masks; a line belongs to it when it has any class of any member. Categories
/// given to setInstructionsCategory are counted as lines arrive and survive
/// clear(), so a caller can register them, clear, and have the next
/// generation counted. getInstructionsCategoryReport answers for any set,
/// registered or not; a registered one costs nothing to ask.
///
/// The container is a one-row cache for its owner; references to lines are
/// valid until the next clear() or push_back().
class AssemblerLines {
 public:
  using Category = std::unordered_set<class_mask_t>;
  using const_iterator = std::vector<AssemblerLine>::const_iterator;

  std::size_t size() const { return lines_.size(); }
  bool empty() const { return lines_.empty(); }
  const_iterator begin() const { return lines_.begin(); }
  const_iterator end() const { return lines_.end(); }
  const AssemblerLine& operator[](std::size_t index) const { return lines_[index]; }

  /// Drops the lines and zeroes the category counts; registered categories stay.
  void clear();
  void reserve(unsigned count) { lines_.reserve(count); }
  void push_back(AssemblerLine line);

  /// Counts of the lines by mix column (instruction_mix_column.h); every
  /// column is present.
  InstructionMix getInstructionMix() const;

  /// Registers `category` for counting; registering the same set twice is
  /// one registration.
  void setInstructionsCategory(const Category& category);
  /// Number of instructions that belong to `category`.
  std::uint64_t getInstructionsCategoryReport(const Category& category) const;

 private:
  struct CountedCategory {
    Category members;
    class_mask_t mask;
    std::uint64_t count = 0;
  };

  static class_mask_t unionOf(const Category& category);

  std::vector<AssemblerLine> lines_;
  std::vector<CountedCategory> categories_;
};

}  // namespace assembler_analysis
