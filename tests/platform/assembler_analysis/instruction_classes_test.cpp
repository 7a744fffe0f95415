// Real encodings decoded into class words: the classes the detectors test
// (arithmetic, reciprocal forms, packed, call) and the ones that must not
// leak in (integer work into floating-point classes, scalar into packed).
// Then their operands: kinds, access, data type and text; the call forms are
// the ones the indirect-call walk tells apart by kind.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/platform/assembler_analysis/decode_helpers.h"

namespace assembler_analysis::testing {
namespace {

struct ClassCase {
  const char* text;  // expected Intel-syntax line text
  Bytes bytes;
  std::vector<unsigned> present;  // class bits
  std::vector<unsigned> absent;
};

void PrintTo(const ClassCase& c, std::ostream* os) { *os << c.text; }

class InstructionClassesTest : public ::testing::TestWithParam<ClassCase> {};

TEST_P(InstructionClassesTest, DecodesToClasses) {
  const ClassCase& c = GetParam();
  const AssemblerLines lines = decode(c.bytes);
  ASSERT_EQ(lines.size(), 1u) << c.text;
  const AssemblerLine& line = lines[0];
  EXPECT_EQ(line.text(), c.text);
  EXPECT_EQ(line.length(), c.bytes.size());
  for (unsigned bit : c.present) EXPECT_TRUE(line.classes().test(bit)) << "lacks " << instructionClassName(bit);
  for (unsigned bit : c.absent) EXPECT_FALSE(line.classes().test(bit)) << "has " << instructionClassName(bit);
  // Every decoded instruction is code of the body; nothing decoded is bad data.
  EXPECT_TRUE(line.hasType(bits({38})));
  EXPECT_FALSE(line.isBadData());
}

// Bit numbers: 0 add, 1 multiply, 2 subtract, 3 divide, 10 square root,
// 22 fused multiply-add, 29-31 integer add/multiply/divide, 44-49 reciprocal
// forms, 57 scalar, 58 packed, 60 call; the rest as in instruction_class.h.
const ClassCase kArithmetic[] = {
    {"vaddps ymm0, ymm1, ymm2", {0xc5, 0xf4, 0x58, 0xc2}, {0, 32, 58, 59, 62, 64},
     {1, 2, 3, 22, 29, 57, 61, 63, 65}},
    {"addss xmm0, xmm1", {0xf3, 0x0f, 0x58, 0xc1}, {0, 57, 61, 64}, {58, 62}},
    {"vmulpd zmm1 {k1} {z}, zmm2, qword ptr [rcx] {1to8}", {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09},
     {1, 55, 58, 59, 63, 65}, {0, 22, 30, 56, 57}},
    {"vmulss xmm0, xmm1, xmm2", {0xc5, 0xf2, 0x59, 0xc2}, {1, 57, 64}, {58}},
    {"vsubpd zmm0, zmm1, zmm2", {0x62, 0xf1, 0xf5, 0x48, 0x5c, 0xc2}, {2, 58, 63, 65}, {0, 29}},
    // The VEX scalar form names full xmm registers; it is still scalar.
    {"vdivsd xmm0, xmm1, xmm2", {0xc5, 0xf3, 0x5e, 0xc2}, {3, 57, 65}, {31, 58}},
    {"vdivps ymm0, ymm1, ymmword ptr [rax]", {0xc5, 0xf4, 0x5e, 0x00}, {3, 55, 58, 64}, {56, 57}},
    {"div rcx", {0x48, 0xf7, 0xf1}, {31}, {3, 10, 32, 57, 58, 59}},
    {"imul rax, rdx", {0x48, 0x0f, 0xaf, 0xc2}, {30}, {1, 22}},
    {"vpaddd ymm0, ymm1, ymm2", {0xc5, 0xf5, 0xfe, 0xc2}, {29, 58, 62}, {0, 59}},
    {"vsqrtps ymm3, ymm4", {0xc5, 0xfc, 0x51, 0xdc}, {10, 58, 64}, {3, 45, 57}},
    {"sqrtsd xmm0, xmm1", {0xf2, 0x0f, 0x51, 0xc1}, {10, 57, 65}, {58}},
    {"fdiv st0, st1", {0xd8, 0xf1}, {3, 28, 57, 59}, {32, 58}},
    {"vfmadd231ps ymm0, ymm1, ymm2", {0xc4, 0xe2, 0x75, 0xb8, 0xc2}, {22, 58, 64}, {0, 1, 2}},
    {"vfmadd132sd xmm0, xmm1, xmm2", {0xc4, 0xe2, 0xf1, 0x99, 0xc2}, {22, 57, 65}, {58}},
};
INSTANTIATE_TEST_SUITE_P(Arithmetic, InstructionClassesTest, ::testing::ValuesIn(kArithmetic));

const ClassCase kReciprocals[] = {
    {"rcpss xmm0, xmm1", {0xf3, 0x0f, 0x53, 0xc1}, {44, 57}, {3, 58}},
    {"vrsqrtps ymm0, ymm1", {0xc5, 0xfc, 0x52, 0xc1}, {45, 58}, {10, 44}},
    {"vrcp14ps zmm0, zmm1", {0x62, 0xf2, 0x7d, 0x48, 0x4c, 0xc1}, {46, 58, 63}, {3, 44, 45, 47, 48, 49}},
    {"vrsqrt14pd zmm0, zmm1", {0x62, 0xf2, 0xfd, 0x48, 0x4e, 0xc1}, {47, 58, 65}, {10, 46}},
    {"vrcp28ps zmm0, zmm1", {0x62, 0xf2, 0x7d, 0x48, 0xca, 0xc1}, {48, 58}, {46, 49}},
    {"vrsqrt28sd xmm0, xmm1, xmm2", {0x62, 0xf2, 0xf5, 0x08, 0xcd, 0xc2}, {49, 57}, {47, 58}},
};
INSTANTIATE_TEST_SUITE_P(Reciprocals, InstructionClassesTest, ::testing::ValuesIn(kReciprocals));

const ClassCase kCallsAndMemory[] = {
    {"call rax", {0xff, 0xd0}, {60}, {24, 55}},
    {"call qword ptr [rax]", {0xff, 0x10}, {55, 60}, {56}},
    {"call 0x401015", {0xe8, 0x10, 0x00, 0x00, 0x00}, {60}, {55}},
    {"vmovups ymmword ptr [rsp+0x20], ymm3", {0xc5, 0xfc, 0x11, 0x5c, 0x24, 0x20}, {6, 56, 58}, {55}},
    {"vgatherdps ymm0, dword ptr [rax+ymm1*4], ymm2", {0xc4, 0xe2, 0x6d, 0x92, 0x04, 0x88}, {20, 32, 55, 58}, {6, 56}},
    // lea computes an address and touches no memory.
    {"lea rax, [rbx+rcx*4]", {0x48, 0x8d, 0x04, 0x8b}, {18}, {55, 56, 29}},
    // The string "movsd" shares its mnemonic with the SSE move.
    {"movsd", {0xa5}, {27, 55, 56}, {6, 57, 59}},
    {"movsd xmm0, xmm1", {0xf2, 0x0f, 0x10, 0xc1}, {6, 57, 65}, {27, 58}},
    {"vbroadcastss ymm0, dword ptr [rax]", {0xc4, 0xe2, 0x7d, 0x18, 0x00}, {8, 55, 58}, {57}},
    {"lock add dword ptr [rax], 0x1", {0xf0, 0x83, 0x00, 0x01}, {29, 35, 55, 56}, {0}},
    {"vcvtsi2sd xmm0, xmm0, rax", {0xc4, 0xe1, 0xfb, 0x2a, 0xc0}, {11, 57, 65}, {58}},
    {"movd xmm0, eax", {0x66, 0x0f, 0x6e, 0xc0}, {6, 57}, {58}},
    {"vzeroupper", {0xc5, 0xf8, 0x77}, {40}, {32, 57, 58}},
};
INSTANTIATE_TEST_SUITE_P(CallsAndMemory, InstructionClassesTest, ::testing::ValuesIn(kCallsAndMemory));

struct OperandCase {
  const char* what;
  Bytes bytes;
  std::size_t operandCount;
  std::size_t index;  // operand under test
  std::uint32_t kinds;
  std::uint32_t notKinds;
  OperandAccess access;
  const char* dataType;
  const char* text;
};

void PrintTo(const OperandCase& c, std::ostream* os) { *os << c.what; }

class OperandKindsTest : public ::testing::TestWithParam<OperandCase> {};

TEST_P(OperandKindsTest, DecodesOperand) {
  const OperandCase& c = GetParam();
  const AssemblerLines lines = decode(c.bytes);
  ASSERT_EQ(lines.size(), 1u) << c.what;
  ASSERT_EQ(lines[0].operandCount(), c.operandCount) << c.what;
  const Operand& op = lines[0].operand(c.index);
  EXPECT_EQ(op.kinds() & c.kinds, c.kinds) << c.what << ": kinds " << std::hex << op.kinds();
  EXPECT_EQ(op.kinds() & c.notKinds, 0u) << c.what << ": kinds " << std::hex << op.kinds();
  EXPECT_EQ(op.access(), c.access) << c.what;
  EXPECT_EQ(op.dataType(), c.dataType) << c.what;
  EXPECT_EQ(op.text(), c.text) << c.what;
}

const OperandCase kCalls[] = {
    // Through a register: not a memory form.
    {"call rax", {0xff, 0xd0}, 1, 0, KindRegister | KindGeneralRegister,
     KindMemory | KindFixedMemory | KindKnownTarget, AccessRead, "int64", "rax"},
    // Through memory addressed by a register: kind 1.
    {"call [rax]", {0xff, 0x10}, 1, 0, KindMemory, KindFixedMemory | KindRegister | KindKnownTarget, AccessRead,
     "int64", "qword ptr [rax]"},
    // Through a fixed slot: kind 4; the slot's address is shown resolved.
    {"call [rip+0x100]", {0xff, 0x15, 0x00, 0x01, 0x00, 0x00}, 1, 0, KindFixedMemory, KindMemory | KindKnownTarget,
     AccessRead, "int64", "qword ptr [0x401106]"},
    // Direct: relative, neither memory form.
    {"call rel32", {0xe8, 0x10, 0x00, 0x00, 0x00}, 1, 0, KindRelative, KindMemory | KindFixedMemory | KindImmediate,
     AccessRead, "int32", "0x401015"},
};
INSTANTIATE_TEST_SUITE_P(Calls, OperandKindsTest, ::testing::ValuesIn(kCalls));

const OperandCase kVector[] = {
    {"vaddps destination", {0xc5, 0xf4, 0x58, 0xc2}, 3, 0, KindRegister | KindVectorRegister,
     KindGeneralRegister | KindMasked, AccessWrite, "float", "ymm0"},
    {"vfmadd231ps accumulator", {0xc4, 0xe2, 0x75, 0xb8, 0xc2}, 3, 0, KindRegister | KindVectorRegister, 0,
     AccessReadWrite, "float", "ymm0"},
    {"addss source", {0xf3, 0x0f, 0x58, 0xc1}, 2, 1, KindVectorRegister, 0, AccessRead, "float", "xmm1"},
    // The write mask decorates the destination instead of being an operand.
    {"vmulpd masked destination", {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09}, 3, 0, KindVectorRegister | KindMasked,
     KindMaskRegister, AccessWrite, "double", "zmm1"},
    {"vmulpd embedded broadcast", {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09}, 3, 2, KindMemory | KindBroadcast,
     KindStackSlot, AccessRead, "double", "qword ptr [rcx]"},
    {"vdivsd destination", {0xc5, 0xf3, 0x5e, 0xc2}, 3, 0, KindVectorRegister, 0, AccessWrite, "double", "xmm0"},
    {"vgatherdps index", {0xc4, 0xe2, 0x6d, 0x92, 0x04, 0x88}, 3, 1, KindMemory | KindVectorIndex, KindFixedMemory,
     AccessRead, "float", "dword ptr [rax+ymm1*4]"},
    {"vbroadcastss source is no embedded broadcast", {0xc4, 0xe2, 0x7d, 0x18, 0x00}, 2, 1, KindMemory, KindBroadcast,
     AccessRead, "float", "dword ptr [rax]"},
};
INSTANTIATE_TEST_SUITE_P(Vector, OperandKindsTest, ::testing::ValuesIn(kVector));

const OperandCase kScalar[] = {
    {"div rcx", {0x48, 0xf7, 0xf1}, 1, 0, KindGeneralRegister, 0, AccessRead, "uint64", "rcx"},
    {"spill slot", {0xc5, 0xfc, 0x11, 0x5c, 0x24, 0x20}, 2, 0, KindMemory | KindStackSlot, KindFixedMemory,
     AccessWrite, "float", "ymmword ptr [rsp+0x20]"},
    {"lea address", {0x48, 0x8d, 0x04, 0x8b}, 2, 1, KindAddressOnly, KindMemory | KindFixedMemory, AccessNone, "bits",
     "[rbx+rcx*4]"},
    {"immediate", {0xf0, 0x83, 0x00, 0x01}, 2, 1, KindImmediate, KindRelative, AccessRead, "int8", "0x1"},
    {"x87 stack register", {0xd8, 0xf1}, 2, 1, KindOtherRegister, KindVectorRegister, AccessRead, "long double", "st1"},
};
INSTANTIATE_TEST_SUITE_P(Scalar, OperandKindsTest, ::testing::ValuesIn(kScalar));

}  // namespace
}  // namespace assembler_analysis::testing
