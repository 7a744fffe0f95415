#include "platform/assembler_analysis/assembler_lines.h"

#include <algorithm>
#include <string>
#include <utility>

namespace assembler_analysis {

namespace {

using C = InstructionClass;

// What makes an instruction count as computing in the mix: arithmetic of any
// type, comparisons, conversions and bit work. Moves, shuffles and control
// flow are not compute.
const class_mask_t& computeClasses() {
  static const class_mask_t mask = classMask({
      C::FloatAdd, C::FloatMultiply, C::FloatSubtract, C::FloatDivide, C::MinMax, C::Compare,
      C::FloatSquareRoot, C::Conversion, C::FusedMultiplyAdd, C::IntegerAddSubtract, C::IntegerMultiply,
      C::IntegerDivide, C::BitManipulation, C::Reciprocal, C::ReciprocalSquareRoot, C::Reciprocal14,
      C::ReciprocalSquareRoot14, C::Reciprocal28, C::ReciprocalSquareRoot28, C::AbsoluteSign, C::Horizontal,
      C::DotProduct, C::Rounding, C::Logical, C::ShiftRotate, C::ExponentMantissa,
  });
  return mask;
}

}  // namespace

void AssemblerLines::clear() {
  lines_.clear();
  for (CountedCategory& category : categories_) category.count = 0;
}

void AssemblerLines::push_back(AssemblerLine line) {
  for (CountedCategory& category : categories_) {
    if (line.hasType(category.mask)) ++category.count;
  }
  lines_.push_back(std::move(line));
}

class_mask_t AssemblerLines::unionOf(const Category& category) {
  class_mask_t mask;
  for (const class_mask_t& member : category) mask |= member;
  return mask;
}

void AssemblerLines::setInstructionsCategory(const Category& category) {
  auto same = [&](const CountedCategory& known) { return known.members == category; };
  if (std::any_of(categories_.begin(), categories_.end(), same)) return;
  CountedCategory counted{category, unionOf(category), 0};
  // Lines already held count too, so registering after a generation is as
  // good as before it.
  for (const AssemblerLine& line : lines_) {
    if (line.hasType(counted.mask)) ++counted.count;
  }
  categories_.push_back(std::move(counted));
}

std::uint64_t AssemblerLines::getInstructionsCategoryReport(const Category& category) const {
  for (const CountedCategory& known : categories_) {
    if (known.members == category) return known.count;
  }
  const class_mask_t mask = unionOf(category);
  return static_cast<std::uint64_t>(
      std::count_if(lines_.begin(), lines_.end(), [&](const AssemblerLine& line) { return line.hasType(mask); }));
}

InstructionMix AssemblerLines::getInstructionMix() const {
  InstructionMix mix;
  for (int column : {MixCompute, MixMemory, MixAll, MixVectorLoad, MixVectorStore, MixGather, MixScatter,
                     MixVectorMasked, MixComputeWithMemory, MixFusedMultiplyAdd}) {
    mix[column] = 0;
  }
  static const class_mask_t instruction = classMask({C::Instruction});
  static const class_mask_t memoryAccess = classMask({C::ReadsMemory, C::WritesMemory});
  static const class_mask_t simd = classMask({C::Simd});
  static const class_mask_t partial = classMask({C::CompressExpand});

  for (const AssemblerLine& line : lines_) {
    if (!line.hasType(instruction)) continue;
    ++mix[MixAll];
    if (line.classes().test(static_cast<std::size_t>(C::FusedMultiplyAdd))) ++mix[MixFusedMultiplyAdd];
    const bool touchesMemory = line.hasType(memoryAccess);
    if (line.hasType(computeClasses())) {
      ++mix[touchesMemory ? MixComputeWithMemory : MixCompute];
    } else if (touchesMemory) {
      ++mix[MixMemory];
      if (!line.hasType(simd)) continue;
      const auto& classes = line.classes();
      if (classes.test(static_cast<std::size_t>(C::Gather))) {
        ++mix[MixGather];
      } else if (classes.test(static_cast<std::size_t>(C::Scatter))) {
        ++mix[MixScatter];
      } else if (line.writeMask().valid() || line.hasType(partial) ||
                 line.mnemonic().find("maskmov") != std::string::npos) {
        ++mix[MixVectorMasked];
      } else if (classes.test(static_cast<std::size_t>(C::WritesMemory))) {
        ++mix[MixVectorStore];
      } else {
        ++mix[MixVectorLoad];
      }
    }
  }
  return mix;
}

}  // namespace assembler_analysis
