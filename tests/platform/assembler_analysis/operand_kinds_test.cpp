// Operands of real encodings: kinds, access, data type and text. The call
// forms are the ones the indirect-call walk tells apart by kind.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/platform/assembler_analysis/decode_helpers.h"

namespace assembler_analysis::testing {
namespace {

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

INSTANTIATE_TEST_SUITE_P(
    Calls, OperandKindsTest,
    ::testing::Values(
        // Through a register: not a memory form.
        OperandCase{"call rax", {0xff, 0xd0}, 1, 0, KindRegister | KindGeneralRegister,
                    KindMemory | KindFixedMemory | KindKnownTarget, AccessRead, "int64", "rax"},
        // Through memory addressed by a register: kind 1.
        OperandCase{"call [rax]", {0xff, 0x10}, 1, 0, KindMemory,
                    KindFixedMemory | KindRegister | KindKnownTarget, AccessRead, "int64", "qword ptr [rax]"},
        // Through a fixed slot: kind 4; the slot's address is shown resolved.
        OperandCase{"call [rip+0x100]", {0xff, 0x15, 0x00, 0x01, 0x00, 0x00}, 1, 0, KindFixedMemory,
                    KindMemory | KindKnownTarget, AccessRead, "int64", "qword ptr [0x401106]"},
        // Direct: relative, neither memory form.
        OperandCase{"call rel32", {0xe8, 0x10, 0x00, 0x00, 0x00}, 1, 0, KindRelative,
                    KindMemory | KindFixedMemory | KindImmediate, AccessRead, "int32", "0x401015"}));

INSTANTIATE_TEST_SUITE_P(
    Vector, OperandKindsTest,
    ::testing::Values(
        OperandCase{"vaddps destination", {0xc5, 0xf4, 0x58, 0xc2}, 3, 0, KindRegister | KindVectorRegister,
                    KindGeneralRegister | KindMasked, AccessWrite, "float", "ymm0"},
        OperandCase{"vfmadd231ps accumulator", {0xc4, 0xe2, 0x75, 0xb8, 0xc2}, 3, 0,
                    KindRegister | KindVectorRegister, 0, AccessReadWrite, "float", "ymm0"},
        OperandCase{"addss source", {0xf3, 0x0f, 0x58, 0xc1}, 2, 1, KindVectorRegister, 0, AccessRead, "float",
                    "xmm1"},
        // The write mask decorates the destination instead of being an operand.
        OperandCase{"vmulpd masked destination", {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09}, 3, 0,
                    KindVectorRegister | KindMasked, KindMaskRegister, AccessWrite, "double", "zmm1"},
        OperandCase{"vmulpd embedded broadcast", {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09}, 3, 2,
                    KindMemory | KindBroadcast, KindStackSlot, AccessRead, "double", "qword ptr [rcx]"},
        OperandCase{"vdivsd destination", {0xc5, 0xf3, 0x5e, 0xc2}, 3, 0, KindVectorRegister, 0, AccessWrite,
                    "double", "xmm0"},
        OperandCase{"vgatherdps index", {0xc4, 0xe2, 0x6d, 0x92, 0x04, 0x88}, 3, 1, KindMemory | KindVectorIndex,
                    KindFixedMemory, AccessRead, "float", "dword ptr [rax+ymm1*4]"},
        OperandCase{"vbroadcastss source is no embedded broadcast", {0xc4, 0xe2, 0x7d, 0x18, 0x00}, 2, 1,
                    KindMemory, KindBroadcast, AccessRead, "float", "dword ptr [rax]"}));

INSTANTIATE_TEST_SUITE_P(
    Scalar, OperandKindsTest,
    ::testing::Values(
        OperandCase{"div rcx", {0x48, 0xf7, 0xf1}, 1, 0, KindGeneralRegister, 0, AccessRead, "uint64", "rcx"},
        OperandCase{"spill slot", {0xc5, 0xfc, 0x11, 0x5c, 0x24, 0x20}, 2, 0, KindMemory | KindStackSlot,
                    KindFixedMemory, AccessWrite, "float", "ymmword ptr [rsp+0x20]"},
        OperandCase{"lea address", {0x48, 0x8d, 0x04, 0x8b}, 2, 1, KindAddressOnly, KindMemory | KindFixedMemory,
                    AccessNone, "bits", "[rbx+rcx*4]"},
        OperandCase{"immediate", {0xf0, 0x83, 0x00, 0x01}, 2, 1, KindImmediate, KindRelative, AccessRead, "int8",
                    "0x1"},
        OperandCase{"x87 stack register", {0xd8, 0xf1}, 2, 1, KindOtherRegister, KindVectorRegister, AccessRead,
                    "long double", "st1"}));

}  // namespace
}  // namespace assembler_analysis::testing
