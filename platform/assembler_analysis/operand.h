#pragma once
// One operand of an assembler line.

#include <cstdint>
#include <string>
#include <utility>

#include "platform/assembler_analysis/register_ref.h"

namespace assembler_analysis {

/// Kind bits of an operand. An operand has several: `ymm3` is Register and
/// VectorRegister; `qword ptr [rsp+0x20]` is Memory and StackSlot.
/// Operand::hasKind(bits) is true when the operand has any of `bits`.
///
/// The memory forms are split by how the address is formed, because that is
/// what tells an indirect call from a direct one: `call qword ptr [rax]` reads
/// its target through a register (Memory), `call qword ptr [rip+0x2fe2]`
/// through a fixed slot (FixedMemory). When a slot or a relative target
/// resolves to a known symbol the operand is also KnownTarget: the call goes
/// to a named function, which is no indirect call for our purposes.
enum OperandKind : std::uint32_t {
  KindMemory = 1,             ///< memory addressed through base and/or index registers
  KindRegister = 2,           ///< any register
  KindFixedMemory = 4,        ///< memory at a fixed address: absolute or rip-relative
  KindImmediate = 8,          ///< constant in the instruction
  KindRelative = 16,          ///< branch displacement; the target is the line's target address
  KindKnownTarget = 32,       ///< branch target or pointer slot resolved to a symbol
  KindVectorRegister = 64,    ///< xmm, ymm, zmm
  KindGeneralRegister = 128,  ///< rax..r15 of any width
  KindMaskRegister = 256,     ///< k0..k7 named as an operand (not as a write mask)
  KindOtherRegister = 512,    ///< x87, MMX, segment, control, debug, bound, tile
  KindStackSlot = 1024,       ///< [rsp+d] or [rbp-d] without index: a local or a spill slot
  KindFarPointer = 2048,      ///< segment:offset constant of a far branch
  KindBroadcast = 4096,       ///< memory element broadcast to all lanes ({1toN})
  KindVectorIndex = 8192,     ///< memory with a vector index (gather, scatter)
  KindMasked = 16384,         ///< destination written under a write mask ({k1})
  KindAddressOnly = 32768,    ///< lea's operand: the address is computed, memory isn't touched
};

/// What an instruction does with an operand: 1 reads it, 2 writes it, 3 both.
/// Conditional reads and writes (masked lanes, cmov) count as reads and writes.
enum OperandAccess : std::uint8_t { AccessNone = 0, AccessRead = 1, AccessWrite = 2, AccessReadWrite = 3 };

/// An explicit operand of an instruction, in Intel order: the destination
/// first. Operands that the instruction uses without naming them (the flags,
/// rsp of a push, rax/rdx of a div) are not listed; nor is the write mask,
/// which shows as KindMasked on the destination instead.
///
/// `access()` is the first member on purpose: code that asks "is the first
/// operand only a source" reads it as `access() == AccessRead`.
class Operand {
 public:
  Operand() = default;

  OperandAccess access() const { return access_; }
  std::uint32_t kinds() const { return kinds_; }
  /// True when the operand has any of the kind bits in `kinds`.
  bool hasKind(unsigned kinds) const { return (kinds_ & kinds) != 0; }

  /// Intel-syntax text: "ymm3", "qword ptr [rax+0x8]", "0x10".
  const std::string& text() const { return text_; }
  /// Element type: "float", "double", "half", "long double", "int32",
  /// "uint64", "bits" (masks, flags), "struct", "bcd"; "" when unknown.
  const std::string& dataType() const { return dataType_; }
  /// Width of the operand and number of elements in it, as the instruction
  /// uses them: `addss xmm0, xmm1` reads 32 bits, 1 element.
  std::uint16_t sizeBits() const { return sizeBits_; }
  std::uint16_t elementCount() const { return elementCount_; }

  /// The register of a register operand.
  RegisterRef reg() const { return reg_; }
  /// Base and index registers of a memory operand; invalid when absent or
  /// when the base is the instruction pointer.
  RegisterRef base() const { return base_; }
  RegisterRef index() const { return index_; }
  /// Displacement of a memory operand, or the value of an immediate.
  std::int64_t displacement() const { return displacement_; }

  void setAccess(OperandAccess access) { access_ = access; }
  void addKinds(std::uint32_t kinds) { kinds_ |= kinds; }
  void setText(std::string text) { text_ = std::move(text); }
  void setDataType(std::string type) { dataType_ = std::move(type); }
  void setShape(std::uint16_t sizeBits, std::uint16_t elementCount) {
    sizeBits_ = sizeBits;
    elementCount_ = elementCount;
  }
  void setRegister(RegisterRef reg) { reg_ = reg; }
  void setAddress(RegisterRef base, RegisterRef index, std::int64_t displacement) {
    base_ = base;
    index_ = index;
    displacement_ = displacement;
  }

 private:
  OperandAccess access_ = AccessNone;
  std::uint32_t kinds_ = 0;
  std::uint16_t sizeBits_ = 0;
  std::uint16_t elementCount_ = 0;
  RegisterRef reg_;
  RegisterRef base_;
  RegisterRef index_;
  std::int64_t displacement_ = 0;
  std::string text_;
  std::string dataType_;
};

}  // namespace assembler_analysis
