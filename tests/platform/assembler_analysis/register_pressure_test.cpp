// Register pressure of small sequences: registers in use, and spills, fills
// and folded reloads told apart by whether the slot makes a round trip.

#include <gtest/gtest.h>

#include <ostream>

#include "platform/portability/assert.h"
#include "tests/platform/assembler_analysis/decode_helpers.h"
#include "tests/support/expected_assertions.h"

namespace assembler_analysis::testing {
namespace {

using T = PressureStatistic;

// Spills ymm5 to [rsp+0x40] and reads it back twice (folded and by a move);
// fills ymm6 from [rsp+0x60], which nothing in the code writes.
const Bytes kSpilling = join({
    {0xc5, 0xfc, 0x10, 0x07},              // vmovups ymm0, [rdi]
    {0xc5, 0xfc, 0x11, 0x6c, 0x24, 0x40},  // vmovups [rsp+0x40], ymm5
    {0xc5, 0xfc, 0x58, 0x4c, 0x24, 0x40},  // vaddps ymm1, ymm0, [rsp+0x40]
    {0xc5, 0xfc, 0x10, 0x74, 0x24, 0x60},  // vmovups ymm6, [rsp+0x60]
    {0xc5, 0xfc, 0x10, 0x7c, 0x24, 0x40},  // vmovups ymm7, [rsp+0x40]
    {0x48, 0x89, 0x5c, 0x24, 0x08},        // mov [rsp+8], rbx
    {0x48, 0x8b, 0x5c, 0x24, 0x08},        // mov rbx, [rsp+8]
    {0x48, 0x83, 0xc7, 0x20},              // add rdi, 0x20
});

struct Expected {
  T::Type type;
  unsigned registers;
  std::uint64_t accesses;
  std::uint64_t instructions;
};

void PrintTo(const Expected& e, std::ostream* os) { *os << "type " << e.type; }

class RegisterPressureTable : public ::testing::TestWithParam<Expected> {};

TEST_P(RegisterPressureTable, CountsTheSpillingLoop) {
  RegisterPressure pressure;
  pressure.enableAnalysis();
  decode(kSpilling, &pressure);
  const Expected& e = GetParam();
  const PressureStatistic s = pressure.getStatistic(e.type);
  EXPECT_EQ(s.registers, e.registers) << "type " << e.type;
  EXPECT_EQ(s.accesses, e.accesses) << "type " << e.type;
  EXPECT_EQ(s.instructions, e.instructions) << "type " << e.type;
}

INSTANTIATE_TEST_SUITE_P(
    Statistics, RegisterPressureTable,
    ::testing::Values(
        // ymm0, ymm5, ymm1, ymm6, ymm7: six references in five lines.
        Expected{T::VectorRegisters, 5, 6, 5},
        // rdi and rbx; rsp as a base is never counted.
        Expected{T::GeneralRegisters, 2, 4, 4},
        Expected{T::MaskRegisters, 0, 0, 0},
        Expected{T::VectorSpills, 1, 1, 1},
        // Two fills, only the one from the slot the code writes is a round trip.
        Expected{T::VectorFills, 2, 1, 2},
        Expected{T::VectorStackOperands, 1, 1, 1},
        Expected{T::GeneralSpills, 1, 1, 1},
        Expected{T::GeneralFills, 1, 1, 1}));

TEST(RegisterPressure, GathersNothingUnlessEnabled) {
  RegisterPressure pressure;
  decode(kSpilling, &pressure);
  for (int type = 0; type < T::TypeCount; ++type) {
    const PressureStatistic s = pressure.getStatistic(static_cast<T::Type>(type));
    EXPECT_EQ(s.registers, 0u);
    EXPECT_EQ(s.accesses, 0u);
  }
}

TEST(RegisterPressure, HighVectorRegistersAndWriteMasksCount) {
  RegisterPressure pressure;
  pressure.enableAnalysis();
  decode(join({
             {0x62, 0x01, 0x0c, 0x40, 0x58, 0xfd},  // vaddps zmm31, zmm30, zmm29
             {0x62, 0xf1, 0xed, 0xd9, 0x59, 0x09},  // vmulpd zmm1{k1}{z}, zmm2, [rcx]{1to8}
         }),
         &pressure);
  EXPECT_EQ(pressure.getStatistic(T::VectorRegisters).registers, 5u);
  EXPECT_EQ(pressure.getStatistic(T::MaskRegisters).registers, 1u);
  EXPECT_EQ(pressure.getStatistic(T::GeneralRegisters).registers, 1u);  // rcx
}

TEST(RegisterPressure, EachGenerationReplacesTheFigures) {
  RegisterPressure pressure;
  pressure.enableAnalysis();
  decode(kSpilling, &pressure);
  decode(kSpilling, &pressure);
  EXPECT_EQ(pressure.getStatistic(T::VectorRegisters).registers, 5u);
  EXPECT_EQ(pressure.getStatistic(T::VectorFills).instructions, 2u);

  // A failed generation leaves nothing of the earlier row behind.
  AssemblerGenerator generator;
  AssemblerLines lines;
  EXPECT_FALSE(generator.generate(CodeRegion{}, lines, &pressure));
  EXPECT_EQ(pressure.getStatistic(T::VectorRegisters).registers, 0u);
}

TEST(RegisterPressure, TypeOutOfRangeAnswersZerosAndAsserts) {
  RegisterPressure pressure;
  pressure.enableAnalysis();
  decode(kSpilling, &pressure);
  test_support::ExpectedAssertions assertions;
  const PressureStatistic s = pressure.getStatistic(static_cast<T::Type>(T::TypeCount));
  EXPECT_EQ(s.registers, 0u);
  EXPECT_EQ(s.accesses, 0u);
  EXPECT_EQ(assertions.fired(), 1u);
}

}  // namespace
}  // namespace assembler_analysis::testing
