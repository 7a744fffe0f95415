#include "platform/assembler_analysis/assembler_line.h"

#include <cstdio>

#include "platform/portability/assert.h"

namespace assembler_analysis {

AssemblerLine AssemblerLine::badData(std::uint64_t address, std::uint8_t byte) {
  AssemblerLine line;
  line.setPlace(address, 1);
  char text[16];
  std::snprintf(text, sizeof text, "db 0x%02x", static_cast<unsigned>(byte));
  line.text_ = text;
  line.badData_ = true;
  return line;
}

const Operand& AssemblerLine::operand(std::size_t index) const {
  static const Operand none;
  NIMB_ASSERT(index < operands_.size());
  return index < operands_.size() ? operands_[index] : none;
}

}  // namespace assembler_analysis
