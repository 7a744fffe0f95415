#include "platform/assembler_analysis/instruction_classifier.h"

#include <algorithm>

#include "platform/assembler_analysis/mnemonic_classes.h"

namespace assembler_analysis {

namespace {

using C = InstructionClass;

void set(class_mask_t& mask, C c) { mask.set(static_cast<std::size_t>(c)); }
bool has(const class_mask_t& mask, C c) { return mask.test(static_cast<std::size_t>(c)); }

bool isSystemCategory(ZydisInstructionCategory category) {
  switch (category) {
    case ZYDIS_CATEGORY_SYSCALL:
    case ZYDIS_CATEGORY_SYSRET:
    case ZYDIS_CATEGORY_SYSTEM:
    case ZYDIS_CATEGORY_INTERRUPT:
    case ZYDIS_CATEGORY_IO:
    case ZYDIS_CATEGORY_VTX:
    case ZYDIS_CATEGORY_SGX:
    case ZYDIS_CATEGORY_SMAP:
    case ZYDIS_CATEGORY_XSAVE:
    case ZYDIS_CATEGORY_XSAVEOPT:
    case ZYDIS_CATEGORY_PT:
    case ZYDIS_CATEGORY_PCONFIG:
    case ZYDIS_CATEGORY_RDPID:
    case ZYDIS_CATEGORY_RDWRFSGS:
    case ZYDIS_CATEGORY_UINTR:
    case ZYDIS_CATEGORY_SEGOP:
      return true;
    default:
      return false;
  }
}

bool isFloat(ZydisElementType type) {
  return type == ZYDIS_ELEMENT_TYPE_FLOAT16 || type == ZYDIS_ELEMENT_TYPE_FLOAT32 ||
         type == ZYDIS_ELEMENT_TYPE_FLOAT64 || type == ZYDIS_ELEMENT_TYPE_FLOAT80;
}

unsigned vectorWidth(ZydisRegister reg) {
  switch (ZydisRegisterGetClass(reg)) {
    case ZYDIS_REGCLASS_XMM:
      return 128;
    case ZYDIS_REGCLASS_YMM:
      return 256;
    case ZYDIS_REGCLASS_ZMM:
      return 512;
    case ZYDIS_REGCLASS_MMX:
      return 64;
    default:
      return 0;
  }
}

}  // namespace

const InstructionClassifier& InstructionClassifier::instance() {
  static const InstructionClassifier classifier;
  return classifier;
}

InstructionClassifier::InstructionClassifier() : byMnemonic_(ZYDIS_MNEMONIC_MAX_VALUE + 1) {
  for (int m = 0; m <= ZYDIS_MNEMONIC_MAX_VALUE; ++m) {
    if (const char* name = ZydisMnemonicGetString(static_cast<ZydisMnemonic>(m))) {
      byMnemonic_[m] = classesOfMnemonic(name);
    }
  }
}

class_mask_t InstructionClassifier::classify(const ZydisDecodedInstruction& instruction,
                                             const ZydisDecodedOperand* operands) const {
  class_mask_t mask;
  if (static_cast<std::size_t>(instruction.mnemonic) < byMnemonic_.size()) {
    mask = byMnemonic_[instruction.mnemonic];
  }
  set(mask, C::Instruction);

  const ZydisInstructionCategory category = instruction.meta.category;
  const bool isString = category == ZYDIS_CATEGORY_STRINGOP || category == ZYDIS_CATEGORY_IOSTRINGOP;
  // "movsd" and "cmpsd" name both a string instruction and an SSE one; the
  // decoder's category tells them apart, and the string form is nothing else.
  if (isString) {
    mask.reset();
    set(mask, C::Instruction);
    set(mask, C::String);
  }
  if (category == ZYDIS_CATEGORY_CALL) set(mask, C::Call);
  if (category == ZYDIS_CATEGORY_COND_BR) set(mask, C::ConditionalBranch);
  if (category == ZYDIS_CATEGORY_UNCOND_BR) set(mask, C::Jump);
  if (category == ZYDIS_CATEGORY_RET) set(mask, C::Return);
  if (category == ZYDIS_CATEGORY_SETCC) set(mask, C::SetOnCondition);
  if (isSystemCategory(category)) set(mask, C::System);
  const bool isX87 = instruction.meta.isa_ext == ZYDIS_ISA_EXT_X87;
  if (isX87) set(mask, C::X87);
  if (instruction.attributes & ZYDIS_ATTRIB_HAS_LOCK) set(mask, C::Atomic);

  unsigned widest = 0;
  unsigned maxElements = 0;
  bool memoryOperand = false;
  for (unsigned i = 0; i < instruction.operand_count; ++i) {
    const ZydisDecodedOperand& op = operands[i];
    const bool visible = i < instruction.operand_count_visible;
    // Hidden operands are mostly the stack of push/call and the flags; a
    // string instruction's memory operands are hidden too, and they are
    // the whole point of it.
    if (!visible && !isString) continue;
    if (op.type == ZYDIS_OPERAND_TYPE_MEMORY && op.mem.type != ZYDIS_MEMOP_TYPE_AGEN) {
      memoryOperand = true;
      if (op.actions & ZYDIS_OPERAND_ACTION_MASK_READ) set(mask, C::ReadsMemory);
      if (op.actions & ZYDIS_OPERAND_ACTION_MASK_WRITE) set(mask, C::WritesMemory);
      if (op.mem.type == ZYDIS_MEMOP_TYPE_VSIB) set(mask, C::Simd);
    }
    if (!visible) continue;
    if (isFloat(op.element_type)) set(mask, C::FloatingPoint);
    if (op.element_type == ZYDIS_ELEMENT_TYPE_FLOAT32) set(mask, C::SinglePrecision);
    if (op.element_type == ZYDIS_ELEMENT_TYPE_FLOAT64) set(mask, C::DoublePrecision);
    if (op.type == ZYDIS_OPERAND_TYPE_REGISTER && op.encoding != ZYDIS_OPERAND_ENCODING_MASK) {
      if (const unsigned width = vectorWidth(op.reg.value)) {
        set(mask, C::Simd);
        widest = std::max(widest, width);
        maxElements = std::max<unsigned>(maxElements, op.element_count);
      }
    }
  }
  if (instruction.mnemonic == ZYDIS_MNEMONIC_XCHG && memoryOperand) set(mask, C::Atomic);

  if (widest == 128) set(mask, C::Width128);
  if (widest == 256) set(mask, C::Width256);
  if (widest == 512) set(mask, C::Width512);

  if (widest > 0) {
    const bool single = !has(mask, C::Broadcast) && isSingleElementMnemonic(ZydisMnemonicGetString(instruction.mnemonic));
    set(mask, single || maxElements <= 1 ? C::Scalar : C::Packed);
  } else if (isX87 && has(mask, C::FloatingPoint)) {
    set(mask, C::Scalar);
  }
  return mask;
}

}  // namespace assembler_analysis
