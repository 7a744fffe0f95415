#pragma once
// A register as the register analysis counts it: its file and its number in
// that file, whatever width the instruction names.

#include <cstdint>

namespace assembler_analysis {

/// Register files that the analysis tells apart. xmm3, ymm3 and zmm3 are one
/// register (Vector, 3); al, ax, eax and rax are one register (General, 0).
enum class RegisterFile : std::uint8_t {
  None = 0,
  General = 1,  ///< rax..r15 by their encoding number; rsp is 4
  Vector = 2,   ///< xmm/ymm/zmm 0..31
  Mask = 3,     ///< k0..k7
  Other = 4,    ///< x87, MMX, segment, control, flags, instruction pointer...
};

struct RegisterRef {
  RegisterFile file = RegisterFile::None;
  std::uint8_t index = 0;

  bool valid() const { return file != RegisterFile::None; }
  friend bool operator==(const RegisterRef&, const RegisterRef&) = default;
};

}  // namespace assembler_analysis
