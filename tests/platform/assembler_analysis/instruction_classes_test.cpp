// Real encodings decoded into class words: the classes the detectors test
// (arithmetic, reciprocal forms, packed, call) and the ones that must not
// leak in (integer work into floating-point classes, scalar into packed).

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/platform/assembler_analysis/decode_helpers.h"

namespace assembler_analysis::testing {
namespace {

struct ClassCase {
  const char* text;  // expected Intel-syntax line text
  Bytes bytes;
  class_mask_t present;
  class_mask_t absent;
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
  for (unsigned bit = 0; bit < kInstructionClassCount; ++bit) {
    if (c.present.test(bit)) {
      EXPECT_TRUE(line.classes().test(bit)) << c.text << ": lacks " << instructionClassName(bit);
    }
    if (c.absent.test(bit)) {
      EXPECT_FALSE(line.classes().test(bit)) << c.text << ": has " << instructionClassName(bit);
    }
  }
  // Every decoded instruction is code of the body; nothing decoded is bad data.
  EXPECT_TRUE(line.hasType(bits({38})));
  EXPECT_FALSE(line.isBadData());
}

// Bit numbers: 0 add, 1 multiply, 2 subtract, 3 divide, 10 square root,
// 22 fused multiply-add, 29-31 integer add/multiply/divide, 44-49 reciprocal
// forms, 57 scalar, 58 packed, 60 call; the rest as in instruction_class.h.
INSTANTIATE_TEST_SUITE_P(
    Arithmetic, InstructionClassesTest,
    ::testing::Values(
        ClassCase{"vaddps ymm0, ymm1, ymm2", {0xc5, 0xf4, 0x58, 0xc2}, bits({0, 32, 58, 59, 62, 64}),
                  bits({1, 2, 3, 22, 29, 57, 61, 63, 65})},
        ClassCase{"addss xmm0, xmm1", {0xf3, 0x0f, 0x58, 0xc1}, bits({0, 57, 61, 64}), bits({58, 62})},
        ClassCase{"vmulpd zmm1 {k1} {z}, zmm2, qword ptr [rcx] {1to8}",
                  {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09},
                  bits({1, 55, 58, 59, 63, 65}),
                  bits({0, 22, 30, 56, 57})},
        ClassCase{"vmulss xmm0, xmm1, xmm2", {0xc5, 0xf2, 0x59, 0xc2}, bits({1, 57, 64}), bits({58})},
        ClassCase{"vsubpd zmm0, zmm1, zmm2", {0x62, 0xf1, 0xf5, 0x48, 0x5c, 0xc2}, bits({2, 58, 63, 65}),
                  bits({0, 29})},
        // The VEX scalar form names full xmm registers; it is still scalar.
        ClassCase{"vdivsd xmm0, xmm1, xmm2", {0xc5, 0xf3, 0x5e, 0xc2}, bits({3, 57, 65}), bits({31, 58})},
        ClassCase{"vdivps ymm0, ymm1, ymmword ptr [rax]", {0xc5, 0xf4, 0x5e, 0x00}, bits({3, 55, 58, 64}),
                  bits({56, 57})},
        ClassCase{"div rcx", {0x48, 0xf7, 0xf1}, bits({31}), bits({3, 10, 32, 57, 58, 59})},
        ClassCase{"imul rax, rdx", {0x48, 0x0f, 0xaf, 0xc2}, bits({30}), bits({1, 22})},
        ClassCase{"vpaddd ymm0, ymm1, ymm2", {0xc5, 0xf5, 0xfe, 0xc2}, bits({29, 58, 62}), bits({0, 59})},
        ClassCase{"vsqrtps ymm3, ymm4", {0xc5, 0xfc, 0x51, 0xdc}, bits({10, 58, 64}), bits({3, 45, 57})},
        ClassCase{"sqrtsd xmm0, xmm1", {0xf2, 0x0f, 0x51, 0xc1}, bits({10, 57, 65}), bits({58})},
        ClassCase{"fdiv st0, st1", {0xd8, 0xf1}, bits({3, 28, 57, 59}), bits({32, 58})},
        ClassCase{"vfmadd231ps ymm0, ymm1, ymm2", {0xc4, 0xe2, 0x75, 0xb8, 0xc2}, bits({22, 58, 64}),
                  bits({0, 1, 2})},
        ClassCase{"vfmadd132sd xmm0, xmm1, xmm2", {0xc4, 0xe2, 0xf1, 0x99, 0xc2}, bits({22, 57, 65}),
                  bits({58})}));

INSTANTIATE_TEST_SUITE_P(
    Reciprocals, InstructionClassesTest,
    ::testing::Values(
        ClassCase{"rcpss xmm0, xmm1", {0xf3, 0x0f, 0x53, 0xc1}, bits({44, 57}), bits({3, 58})},
        ClassCase{"vrsqrtps ymm0, ymm1", {0xc5, 0xfc, 0x52, 0xc1}, bits({45, 58}), bits({10, 44})},
        ClassCase{"vrcp14ps zmm0, zmm1", {0x62, 0xf2, 0x7d, 0x48, 0x4c, 0xc1}, bits({46, 58, 63}),
                  bits({3, 44, 45, 47, 48, 49})},
        ClassCase{"vrsqrt14pd zmm0, zmm1", {0x62, 0xf2, 0xfd, 0x48, 0x4e, 0xc1}, bits({47, 58, 65}),
                  bits({10, 46})},
        ClassCase{"vrcp28ps zmm0, zmm1", {0x62, 0xf2, 0x7d, 0x48, 0xca, 0xc1}, bits({48, 58}), bits({46, 49})},
        ClassCase{"vrsqrt28sd xmm0, xmm1, xmm2", {0x62, 0xf2, 0xf5, 0x08, 0xcd, 0xc2}, bits({49, 57}),
                  bits({47, 58})}));

INSTANTIATE_TEST_SUITE_P(
    CallsAndMemory, InstructionClassesTest,
    ::testing::Values(
        ClassCase{"call rax", {0xff, 0xd0}, bits({60}), bits({24, 55})},
        ClassCase{"call qword ptr [rax]", {0xff, 0x10}, bits({55, 60}), bits({56})},
        ClassCase{"call 0x401015", {0xe8, 0x10, 0x00, 0x00, 0x00}, bits({60}), bits({55})},
        ClassCase{"vmovups ymmword ptr [rsp+0x20], ymm3", {0xc5, 0xfc, 0x11, 0x5c, 0x24, 0x20}, bits({6, 56, 58}),
                  bits({55})},
        ClassCase{"vgatherdps ymm0, dword ptr [rax+ymm1*4], ymm2", {0xc4, 0xe2, 0x6d, 0x92, 0x04, 0x88},
                  bits({20, 32, 55, 58}), bits({6, 56})},
        // lea computes an address and touches no memory.
        ClassCase{"lea rax, [rbx+rcx*4]", {0x48, 0x8d, 0x04, 0x8b}, bits({18}), bits({55, 56, 29})},
        // The string "movsd" shares its mnemonic with the SSE move.
        ClassCase{"movsd", {0xa5}, bits({27, 55, 56}), bits({6, 57, 59})},
        ClassCase{"movsd xmm0, xmm1", {0xf2, 0x0f, 0x10, 0xc1}, bits({6, 57, 65}), bits({27, 58})},
        ClassCase{"vbroadcastss ymm0, dword ptr [rax]", {0xc4, 0xe2, 0x7d, 0x18, 0x00}, bits({8, 55, 58}),
                  bits({57})},
        ClassCase{"lock add dword ptr [rax], 0x1", {0xf0, 0x83, 0x00, 0x01}, bits({29, 35, 55, 56}), bits({0})},
        ClassCase{"vcvtsi2sd xmm0, xmm0, rax", {0xc4, 0xe1, 0xfb, 0x2a, 0xc0}, bits({11, 57, 65}), bits({58})},
        ClassCase{"movd xmm0, eax", {0x66, 0x0f, 0x6e, 0xc0}, bits({6, 57}), bits({58})},
        ClassCase{"vzeroupper", {0xc5, 0xf8, 0x77}, bits({40}), bits({32, 57, 58})}));

}  // namespace
}  // namespace assembler_analysis::testing
