#include "platform/assembler_analysis/assembler_generator.h"

#include <algorithm>
#include <array>
#include <string>

#include <boost/make_shared.hpp>
#include <Zydis/Zydis.h>

#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/assembler_analysis/instruction_classifier.h"

namespace assembler_analysis {

namespace {

// Longest text the formatter writes for one instruction is well below this;
// a truncated text would still be a valid prefix.
constexpr std::size_t kTextCapacity = 256;

std::string dataTypeText(ZydisElementType type, unsigned bits) {
  auto sized = [bits](const char* stem) {
    if (bits == 8 || bits == 16 || bits == 32 || bits == 64 || bits == 128) return stem + std::to_string(bits);
    return std::string("bits");
  };
  switch (type) {
    case ZYDIS_ELEMENT_TYPE_FLOAT16:
      return "half";
    case ZYDIS_ELEMENT_TYPE_FLOAT32:
      return "float";
    case ZYDIS_ELEMENT_TYPE_FLOAT64:
      return "double";
    case ZYDIS_ELEMENT_TYPE_FLOAT80:
      return "long double";
    case ZYDIS_ELEMENT_TYPE_INT:
      return sized("int");
    case ZYDIS_ELEMENT_TYPE_UINT:
      return sized("uint");
    case ZYDIS_ELEMENT_TYPE_STRUCT:
      return "struct";
    case ZYDIS_ELEMENT_TYPE_LONGBCD:
      return "bcd";
    case ZYDIS_ELEMENT_TYPE_CC:
      return "condition";
    default:
      return "";
  }
}

RegisterRef registerRef(ZydisMachineMode mode, ZydisRegister reg) {
  const ZydisRegisterClass regClass = ZydisRegisterGetClass(reg);
  RegisterRef ref;
  switch (regClass) {
    case ZYDIS_REGCLASS_INVALID:
    case ZYDIS_REGCLASS_IP:
      // The instruction pointer as a base makes an address fixed, not a
      // register the code allocates.
      return ref;
    case ZYDIS_REGCLASS_GPR8:
    case ZYDIS_REGCLASS_GPR16:
    case ZYDIS_REGCLASS_GPR32:
    case ZYDIS_REGCLASS_GPR64:
      ref.file = RegisterFile::General;
      reg = ZydisRegisterGetLargestEnclosing(mode, reg);
      break;
    case ZYDIS_REGCLASS_XMM:
    case ZYDIS_REGCLASS_YMM:
    case ZYDIS_REGCLASS_ZMM:
      ref.file = RegisterFile::Vector;
      break;
    case ZYDIS_REGCLASS_MASK:
      ref.file = RegisterFile::Mask;
      break;
    default:
      ref.file = RegisterFile::Other;
      break;
  }
  const ZyanI8 id = ZydisRegisterGetId(reg);
  ref.index = static_cast<std::uint8_t>(id < 0 ? 0 : id);
  return ref;
}

std::uint32_t registerKinds(RegisterFile file) {
  switch (file) {
    case RegisterFile::General:
      return KindRegister | KindGeneralRegister;
    case RegisterFile::Vector:
      return KindRegister | KindVectorRegister;
    case RegisterFile::Mask:
      return KindRegister | KindMaskRegister;
    default:
      return KindRegister | KindOtherRegister;
  }
}

bool isStackPointer(ZydisRegister reg) {
  return reg == ZYDIS_REGISTER_RSP || reg == ZYDIS_REGISTER_ESP || reg == ZYDIS_REGISTER_SP;
}

bool isFramePointer(ZydisRegister reg) {
  return reg == ZYDIS_REGISTER_RBP || reg == ZYDIS_REGISTER_EBP || reg == ZYDIS_REGISTER_BP;
}

bool isInstructionPointer(ZydisRegister reg) {
  return reg == ZYDIS_REGISTER_RIP || reg == ZYDIS_REGISTER_EIP || reg == ZYDIS_REGISTER_IP;
}

}  // namespace

struct AssemblerGenerator::Impl {
  ZydisDecoder decoder64{};
  ZydisDecoder decoder32{};
  ZydisFormatter formatter{};
  const InstructionClassifier& classifier = InstructionClassifier::instance();

  Impl() {
    ZydisDecoderInit(&decoder64, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
    ZydisDecoderInit(&decoder32, ZYDIS_MACHINE_MODE_LONG_COMPAT_32, ZYDIS_STACK_WIDTH_32);
    ZydisFormatterInit(&formatter, ZYDIS_FORMATTER_STYLE_INTEL);
    // Sizes on every memory operand: two texts of one location then compare
    // equal whichever instruction they come from.
    ZydisFormatterSetProperty(&formatter, ZYDIS_FORMATTER_PROP_FORCE_SIZE, ZYAN_TRUE);
    ZydisFormatterSetProperty(&formatter, ZYDIS_FORMATTER_PROP_HEX_UPPERCASE, ZYAN_FALSE);
    ZydisFormatterSetProperty(&formatter, ZYDIS_FORMATTER_PROP_ADDR_PADDING_ABSOLUTE, ZYDIS_PADDING_DISABLED);
    ZydisFormatterSetProperty(&formatter, ZYDIS_FORMATTER_PROP_DISP_PADDING, ZYDIS_PADDING_DISABLED);
    ZydisFormatterSetProperty(&formatter, ZYDIS_FORMATTER_PROP_IMM_PADDING, ZYDIS_PADDING_DISABLED);
  }

  Operand makeOperand(const ZydisDecodedInstruction& instruction, const ZydisDecodedOperand& op,
                      std::uint64_t address) const;
  AssemblerLine makeLine(const ZydisDecodedInstruction& instruction, const ZydisDecodedOperand* operands,
                         std::uint64_t address, const SymbolResolver& symbols) const;
};

Operand AssemblerGenerator::Impl::makeOperand(const ZydisDecodedInstruction& instruction,
                                              const ZydisDecodedOperand& op, std::uint64_t address) const {
  Operand operand;
  unsigned access = 0;
  if (op.actions & ZYDIS_OPERAND_ACTION_MASK_READ) access |= AccessRead;
  if (op.actions & ZYDIS_OPERAND_ACTION_MASK_WRITE) access |= AccessWrite;
  operand.setAccess(static_cast<OperandAccess>(access));
  operand.setShape(op.size, op.element_count);
  operand.setDataType(dataTypeText(op.element_type, op.element_size));

  const ZydisMachineMode mode = instruction.machine_mode;
  switch (op.type) {
    case ZYDIS_OPERAND_TYPE_REGISTER: {
      const RegisterRef ref = registerRef(mode, op.reg.value);
      operand.setRegister(ref);
      operand.addKinds(registerKinds(ref.file));
      break;
    }
    case ZYDIS_OPERAND_TYPE_MEMORY: {
      const ZydisRegister base = op.mem.base;
      const ZydisRegister index = op.mem.index;
      const bool noIndex = index == ZYDIS_REGISTER_NONE;
      if (op.mem.type == ZYDIS_MEMOP_TYPE_AGEN) {
        operand.addKinds(KindAddressOnly);
      } else if (noIndex && (base == ZYDIS_REGISTER_NONE || isInstructionPointer(base))) {
        operand.addKinds(KindFixedMemory);
      } else {
        operand.addKinds(KindMemory);
      }
      if (op.mem.type == ZYDIS_MEMOP_TYPE_VSIB) operand.addKinds(KindVectorIndex);
      // Frame-pointer code keeps locals below rbp; rbp with a positive offset
      // is more likely an array when the frame pointer is omitted.
      if (op.mem.type != ZYDIS_MEMOP_TYPE_AGEN && noIndex &&
          (isStackPointer(base) || (isFramePointer(base) && op.mem.disp.value < 0))) {
        operand.addKinds(KindStackSlot);
      }
      // Only the embedded {1toN} form: a broadcast instruction's own source
      // is a plain element.
      if (instruction.avx.broadcast.mode != ZYDIS_BROADCAST_MODE_INVALID && !instruction.avx.broadcast.is_static) {
        operand.addKinds(KindBroadcast);
      }
      operand.setAddress(registerRef(mode, base), registerRef(mode, index), op.mem.disp.value);
      break;
    }
    case ZYDIS_OPERAND_TYPE_POINTER:
      operand.addKinds(KindFarPointer);
      break;
    case ZYDIS_OPERAND_TYPE_IMMEDIATE:
      operand.addKinds(op.imm.is_relative ? KindRelative : KindImmediate);
      operand.setAddress({}, {}, op.imm.value.s);
      break;
    default:
      break;
  }

  char text[kTextCapacity];
  if (ZYAN_SUCCESS(ZydisFormatterFormatOperand(&formatter, &instruction, &op, text, sizeof text, address, nullptr))) {
    operand.setText(text);
  }
  return operand;
}

AssemblerLine AssemblerGenerator::Impl::makeLine(const ZydisDecodedInstruction& instruction,
                                                 const ZydisDecodedOperand* operands, std::uint64_t address,
                                                 const SymbolResolver& symbols) const {
  AssemblerLine line;
  line.setPlace(address, instruction.length);
  line.setMnemonic(ZydisMnemonicGetString(instruction.mnemonic));
  line.setClasses(classifier.classify(instruction, operands));

  // The write mask of an EVEX instruction comes as an operand of its own;
  // in Intel syntax it decorates the destination, and so it does here.
  const ZydisMaskMode maskMode = instruction.avx.mask.mode;
  const bool masked = maskMode == ZYDIS_MASK_MODE_MERGING || maskMode == ZYDIS_MASK_MODE_ZEROING;
  for (unsigned i = 0; i < instruction.operand_count_visible; ++i) {
    const ZydisDecodedOperand& op = operands[i];
    if (op.type == ZYDIS_OPERAND_TYPE_REGISTER && op.encoding == ZYDIS_OPERAND_ENCODING_MASK) {
      if (masked) line.setWriteMask(registerRef(instruction.machine_mode, op.reg.value));
      continue;
    }
    line.addOperand(makeOperand(instruction, op, address));
  }
  if (masked && line.operandCount() > 0) line.mutableOperand(0).addKinds(KindMasked);

  char text[kTextCapacity];
  std::string lineText;
  if (ZYAN_SUCCESS(ZydisFormatterFormatInstruction(&formatter, &instruction, operands,
                                                   instruction.operand_count_visible, text, sizeof text, address,
                                                   nullptr))) {
    lineText = text;
  }

  // Where a branch goes, or which slot it takes its target from: the target
  // of a relative branch, the slot of a rip-relative or absolute one.
  const ZydisInstructionCategory category = instruction.meta.category;
  const bool branch = category == ZYDIS_CATEGORY_CALL || category == ZYDIS_CATEGORY_UNCOND_BR ||
                      category == ZYDIS_CATEGORY_COND_BR;
  if (branch && line.operandCount() > 0 && line.operand(0).hasKind(KindRelative | KindFixedMemory)) {
    const ZydisDecodedOperand& first = operands[0];
    ZyanU64 target = 0;
    if (ZYAN_SUCCESS(ZydisCalcAbsoluteAddress(&instruction, &first, address, &target))) {
      std::string symbol;
      if (symbols && symbols(target, symbol) && !symbol.empty()) {
        line.mutableOperand(0).addKinds(KindKnownTarget);
        lineText += " <" + symbol + ">";
      } else {
        symbol.clear();
      }
      line.setTarget(target, std::move(symbol));
    }
  }
  line.setText(std::move(lineText));
  return line;
}

AssemblerGenerator::AssemblerGenerator() : impl_(std::make_unique<Impl>()) {}

AssemblerGenerator::~AssemblerGenerator() = default;

bool AssemblerGenerator::generate(const CodeRegion& code, AssemblerLines& lines, RegisterPressure* pressure) const {
  lines.clear();
  const bool analyze = pressure && pressure->isEnabled();
  if (analyze) pressure->reset();
  if (!code.bytes || code.size == 0) return false;
  const ZydisDecoder* decoder = code.codeBits == 64 ? &impl_->decoder64 : code.codeBits == 32 ? &impl_->decoder32 : nullptr;
  if (!decoder) return false;

  // A loop body averages three to four bytes an instruction.
  lines.reserve(static_cast<unsigned>(std::min<std::size_t>(code.size / 3 + 1, 1u << 16)));

  ZydisDecodedInstruction instruction;
  std::array<ZydisDecodedOperand, ZYDIS_MAX_OPERAND_COUNT> operands;
  std::size_t offset = 0;
  while (offset < code.size) {
    const std::uint64_t address = code.address + offset;
    if (!ZYAN_SUCCESS(ZydisDecoderDecodeFull(decoder, code.bytes + offset, code.size - offset, &instruction,
                                             operands.data()))) {
      // Data in the code, or a block that starts mid-instruction: one byte
      // is given up and decoding tries again at the next.
      lines.push_back(AssemblerLine::badData(address, code.bytes[offset]));
      ++offset;
      continue;
    }
    lines.push_back(impl_->makeLine(instruction, operands.data(), address, code.symbols));
    offset += instruction.length;
  }
  if (analyze) pressure->analyze(lines);
  return true;
}

boost::shared_ptr<AssemblerGenerator> createAssemblerGenerator() { return boost::make_shared<AssemblerGenerator>(); }

}  // namespace assembler_analysis
