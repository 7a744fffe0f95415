// The generator as a whole: what it does with bytes that aren't code, with
// nothing, with modes, and with call targets it can name. Then counts over
// the lines of a small vector loop: the instruction mix and the instruction
// categories, including their lifetime across clear().

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/platform/assembler_analysis/decode_helpers.h"

namespace assembler_analysis::testing {
namespace {

const Bytes kVaddps = {0xc5, 0xf4, 0x58, 0xc2};

TEST(AssemblerGenerator, InvalidBytesBecomeOneByteBadDataLines) {
  // 0x06 and 0x27 (push es, daa) don't exist in 64-bit code.
  const AssemblerLines lines = decode(join({{0x06}, kVaddps, {0x27}}));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(lines[0].isBadData());
  EXPECT_EQ(lines[0].text(), "db 0x06");
  EXPECT_EQ(lines[0].length(), 1u);
  EXPECT_EQ(lines[0].address(), kBase);
  EXPECT_TRUE(lines[0].classes().none());
  EXPECT_EQ(lines[0].operandCount(), 0u);
  // Decoding resumes right after the bad byte.
  EXPECT_EQ(lines[1].text(), "vaddps ymm0, ymm1, ymm2");
  EXPECT_EQ(lines[1].address(), kBase + 1);
  EXPECT_TRUE(lines[2].isBadData());
  EXPECT_EQ(lines[2].address(), kBase + 5);
  // Bad data counts as no instruction in the mix.
  EXPECT_EQ(lines.getInstructionMix()[MixAll], 1u);
}

TEST(AssemblerGenerator, TruncatedInstructionAtTheEndIsBadData) {
  // A VEX prefix with nothing after it.
  const AssemblerLines lines = decode(join({kVaddps, {0xc5}}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(lines[1].isBadData());
}

TEST(AssemblerGenerator, NothingToDecodeAnswersFalse) {
  AssemblerGenerator generator;
  AssemblerLines lines;
  lines.push_back(AssemblerLine::badData(1, 0));
  CodeRegion empty;
  EXPECT_FALSE(generator.generate(empty, lines, nullptr));
  EXPECT_TRUE(lines.empty()) << "an earlier row's lines must not survive";

  const Bytes bytes = kVaddps;
  CodeRegion unknownMode{bytes.data(), bytes.size(), kBase, 16, {}};
  EXPECT_FALSE(generator.generate(unknownMode, lines, nullptr));
  EXPECT_TRUE(lines.empty());
}

TEST(AssemblerGenerator, ArbitraryBytesAreCoveredExactlyOnce) {
  // Whatever the bytes, the lines tile the block: contiguous addresses,
  // lengths adding up to the size, every line at least one byte.
  std::mt19937 random(12345);
  Bytes bytes(1 << 16);
  for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
  const AssemblerLines lines = decode(bytes);
  std::uint64_t next = kBase;
  std::size_t bad = 0;
  for (const AssemblerLine& line : lines) {
    ASSERT_EQ(line.address(), next);
    ASSERT_GE(line.length(), 1u);
    ASSERT_LE(line.length(), 15u);
    ASSERT_FALSE(line.text().empty());
    next += line.length();
    if (line.isBadData()) ++bad;
  }
  EXPECT_EQ(next, kBase + bytes.size());
  EXPECT_GT(bad, 0u);
  EXPECT_LT(bad, lines.size());
}

TEST(AssemblerGenerator, KnownCallTargetsAreNamedAndMarked) {
  const Bytes direct = {0xe8, 0x10, 0x00, 0x00, 0x00};              // call kBase+0x15
  const Bytes throughSlot = {0xff, 0x15, 0x00, 0x01, 0x00, 0x00};   // call [rip+0x100]
  const Bytes throughRegister = {0xff, 0x10};                       // call [rax]
  std::uint64_t asked = 0;
  SymbolResolver symbols = [&](std::uint64_t address, std::string& name) {
    ++asked;
    if (address == kBase + 0x15) name = "sin";
    if (address == kBase + 5 + 6 + 0x100) name = "_ZGVdN4v_cos";
    return !name.empty();
  };
  const AssemblerLines lines = decode(join({direct, throughSlot, throughRegister}), nullptr, symbols);
  ASSERT_EQ(lines.size(), 3u);

  EXPECT_EQ(lines[0].text(), "call 0x401015 <sin>");
  EXPECT_TRUE(lines[0].operand(0).hasKind(KindKnownTarget));
  EXPECT_EQ(lines[0].targetSymbol(), "sin");
  EXPECT_EQ(lines[0].targetAddress(), kBase + 0x15);

  EXPECT_EQ(lines[1].text(), "call qword ptr [0x40110b] <_ZGVdN4v_cos>");
  EXPECT_TRUE(lines[1].operand(0).hasKind(KindKnownTarget | KindFixedMemory));
  EXPECT_EQ(lines[1].targetAddress(), kBase + 5 + 6 + 0x100);

  // A target computed at run time has nothing to ask about.
  EXPECT_FALSE(lines[2].hasTarget());
  EXPECT_FALSE(lines[2].operand(0).hasKind(KindKnownTarget));
  EXPECT_EQ(asked, 2u);
}

TEST(AssemblerGenerator, UnknownSymbolLeavesTheTargetUnnamed) {
  SymbolResolver nothing = [](std::uint64_t, std::string&) { return false; };
  const AssemblerLines lines = decode({0xff, 0x15, 0x00, 0x01, 0x00, 0x00}, nullptr, nothing);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text(), "call qword ptr [0x401106]");
  EXPECT_TRUE(lines[0].hasTarget());
  EXPECT_EQ(lines[0].targetSymbol(), "");
  EXPECT_FALSE(lines[0].operand(0).hasKind(KindKnownTarget));
}

TEST(AssemblerGenerator, GeneratingAgainReplacesTheLines) {
  AssemblerGenerator generator;
  AssemblerLines lines;
  const Bytes first = join({kVaddps, kVaddps});
  const Bytes second = {0xff, 0xd0};
  ASSERT_TRUE(generator.generate({first.data(), first.size(), kBase, 64, {}}, lines, nullptr));
  ASSERT_TRUE(generator.generate({second.data(), second.size(), kBase, 64, {}}, lines, nullptr));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text(), "call rax");
}

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
