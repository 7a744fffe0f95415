// Counts over the lines of a small vector loop: the instruction mix and the
// instruction categories, including their lifetime across clear().

#include <gtest/gtest.h>

#include "tests/platform/assembler_analysis/decode_helpers.h"

namespace assembler_analysis::testing {
namespace {

// A loop body of every mix column:
const Bytes kLoop = join({
    {0xc5, 0xfc, 0x10, 0x07},              // vmovups ymm0, [rdi]          vector load
    {0xc5, 0xfc, 0x59, 0x03},              // vmulps ymm0, ymm0, [rbx]     compute with memory
    {0xc4, 0xe2, 0x75, 0xb8, 0xc2},        // vfmadd231ps ymm0, ymm1, ymm2 compute, fused
    {0xc5, 0xfc, 0x11, 0x09},              // vmovups [rcx], ymm1          vector store
    {0xc4, 0xe2, 0x6d, 0x92, 0x04, 0x88},  // vgatherdps ymm0, [rax+ymm1*4], ymm2
    {0x62, 0xf1, 0x7c, 0x49, 0x11, 0x00},  // vmovups [rax]{k1}, zmm0      masked store
    {0x48, 0x8b, 0x5c, 0x24, 0x08},        // mov rbx, [rsp+8]             scalar load
    {0x48, 0x83, 0xc7, 0x20},              // add rdi, 0x20                compute
    {0x48, 0x39, 0xd0},                    // cmp rax, rdx                 compute
    {0x72, 0xd0},                          // jb                           neither
    {0x06},                                // bad data                     not counted
});

TEST(AssemblerLines, InstructionMixCountsEveryColumn) {
  const InstructionMix mix = decode(kLoop).getInstructionMix();
  const InstructionMix expected = {
      {MixCompute, 3},      {MixMemory, 5},     {MixAll, 10},         {MixVectorLoad, 1},
      {MixVectorStore, 1},  {MixGather, 1},     {MixScatter, 0},      {MixVectorMasked, 1},
      {MixComputeWithMemory, 1}, {MixFusedMultiplyAdd, 1},
  };
  EXPECT_EQ(mix, expected);
}

TEST(AssemblerLines, EmptyLinesHaveAZeroMix) {
  const InstructionMix mix = AssemblerLines().getInstructionMix();
  EXPECT_EQ(mix.size(), 10u);
  for (const auto& [column, count] : mix) EXPECT_EQ(count, 0u) << column;
}

// The two categories of the register pressure detector: data movement and
// arithmetic, given as sets of one-bit masks.
AssemblerLines::Category movement() {
  AssemblerLines::Category category;
  for (unsigned bit : {6u, 7u, 8u, 9u, 12u, 13u, 14u, 15u, 16u, 17u, 18u, 19u, 34u, 39u, 40u, 41u, 42u, 43u}) {
    category.insert(bits({bit}));
  }
  return category;
}

AssemblerLines::Category arithmetic() {
  AssemblerLines::Category category;
  for (unsigned bit : {0u, 1u, 2u, 3u, 4u, 5u, 10u, 22u, 49u, 50u, 51u, 52u, 53u, 54u, 66u, 67u}) {
    category.insert(bits({bit}));
  }
  return category;
}

TEST(AssemblerLines, CategoriesCountTheLinesOfAnyOfTheirClasses) {
  AssemblerLines lines = decode(kLoop);
  // Moves: the three vector moves and the scalar load. Arithmetic: vmulps,
  // vfmadd231ps and cmp; the integer add is in neither.
  EXPECT_EQ(lines.getInstructionsCategoryReport(movement()), 4u);
  EXPECT_EQ(lines.getInstructionsCategoryReport(arithmetic()), 3u);

  // Registered after the lines arrived, a category counts them too.
  lines.setInstructionsCategory(movement());
  EXPECT_EQ(lines.getInstructionsCategoryReport(movement()), 4u);
}

TEST(AssemblerLines, RegisteredCategoriesSurviveClearAndCountTheNextGeneration) {
  AssemblerGenerator generator;
  AssemblerLines lines;
  lines.setInstructionsCategory(arithmetic());
  lines.setInstructionsCategory(arithmetic());  // one registration
  lines.setInstructionsCategory(movement());

  ASSERT_TRUE(generator.generate({kLoop.data(), kLoop.size(), kBase, 64, {}}, lines, nullptr));
  EXPECT_EQ(lines.getInstructionsCategoryReport(arithmetic()), 3u);

  lines.clear();
  EXPECT_EQ(lines.getInstructionsCategoryReport(arithmetic()), 0u);
  const Bytes oneAdd = {0xc5, 0xf4, 0x58, 0xc2};  // vaddps
  ASSERT_TRUE(generator.generate({oneAdd.data(), oneAdd.size(), kBase, 64, {}}, lines, nullptr));
  EXPECT_EQ(lines.getInstructionsCategoryReport(arithmetic()), 1u);
  EXPECT_EQ(lines.getInstructionsCategoryReport(movement()), 0u);
}

}  // namespace
}  // namespace assembler_analysis::testing
