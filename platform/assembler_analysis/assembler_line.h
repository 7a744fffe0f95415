#pragma once
// One decoded instruction, or one byte that didn't decode.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/assembler_analysis/instruction_class.h"
#include "platform/assembler_analysis/operand.h"
#include "platform/assembler_analysis/register_ref.h"

namespace assembler_analysis {

/// An instruction of a row's code: where it is, how long it is, its Intel-
/// syntax text, its class word and its explicit operands, destination first.
///
/// A byte that doesn't start a valid instruction becomes a line of its own
/// that is bad data: length 1, text "db 0x..", no classes, no operands. Such a
/// line has no Instruction class (38), so masks over real code skip it.
///
/// Examples of texts: "vaddps ymm0, ymm1, ymmword ptr [rax+0x20]",
/// "call 0x401a40 <sin>" (the target's symbol, when known, in angle brackets),
/// "db 0x0f".
class AssemblerLine {
 public:
  AssemblerLine() = default;

  /// The line for one byte that doesn't decode.
  static AssemblerLine badData(std::uint64_t address, std::uint8_t byte);

  std::uint64_t address() const { return address_; }
  /// Length of the instruction in bytes.
  std::uint64_t length() const { return length_; }
  const std::string& text() const { return text_; }
  /// Lower-case mnemonic ("vfmadd231ps"); "" for bad data.
  const std::string& mnemonic() const { return mnemonic_; }
  bool isBadData() const { return badData_; }

  const class_mask_t& classes() const { return classes_; }
  /// True when the line is of any class in `mask`.
  bool hasType(const class_mask_t& mask) const { return (classes_ & mask).any(); }

  std::size_t operandCount() const { return operands_.size(); }
  const std::vector<Operand>& operands() const { return operands_; }
  /// The operand at `index`; an empty operand when there is none.
  const Operand& operand(std::size_t index) const;

  /// The write mask register of an EVEX instruction (k1..k7); invalid when
  /// the instruction writes all lanes.
  RegisterRef writeMask() const { return writeMask_; }

  /// Where a branch goes (relative target) or the slot it reads its target
  /// from (fixed memory); meaningful when hasTarget().
  bool hasTarget() const { return hasTarget_; }
  std::uint64_t targetAddress() const { return targetAddress_; }
  /// Symbol at the target or slot, "" when unknown.
  const std::string& targetSymbol() const { return targetSymbol_; }

  void setPlace(std::uint64_t address, std::uint64_t length) {
    address_ = address;
    length_ = length;
  }
  void setText(std::string text) { text_ = std::move(text); }
  void setMnemonic(std::string mnemonic) { mnemonic_ = std::move(mnemonic); }
  void setClasses(const class_mask_t& classes) { classes_ = classes; }
  void addOperand(Operand operand) { operands_.push_back(std::move(operand)); }
  Operand& mutableOperand(std::size_t index) { return operands_[index]; }
  void setWriteMask(RegisterRef mask) { writeMask_ = mask; }
  void setTarget(std::uint64_t address, std::string symbol) {
    hasTarget_ = true;
    targetAddress_ = address;
    targetSymbol_ = std::move(symbol);
  }

 private:
  std::uint64_t address_ = 0;
  std::uint64_t length_ = 0;
  class_mask_t classes_;
  std::vector<Operand> operands_;
  std::string text_;
  std::string mnemonic_;
  RegisterRef writeMask_;
  bool badData_ = false;
  bool hasTarget_ = false;
  std::uint64_t targetAddress_ = 0;
  std::string targetSymbol_;
};

}  // namespace assembler_analysis
