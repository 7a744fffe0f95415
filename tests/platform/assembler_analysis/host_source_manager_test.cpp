// The host's source manager: a row's code block through the generator, in
// the result's decoding mode.

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/foundation/sptr.h"
#include "platform/host_data/host_source_manager.h"

namespace {

using namespace assembler_analysis;
using data_abstractions2::CodeBlock;
using data_abstractions2::ISourceManager;

foundation::sptr_t<ISourceManager> manager(int codeBits = 64, SymbolResolver symbols = {}) {
  return foundation::pool_allocate<host_data::HostSourceManager, ISourceManager>(codeBits, std::move(symbols));
}

CodeBlock block(std::vector<std::uint8_t> bytes) {
  CodeBlock code;
  code.address = 0x8000;
  code.bytes = std::move(bytes);
  return code;
}

TEST(HostSourceManager, FillsLinesInTheResultsMode) {
  const CodeBlock code = block({0xff, 0x10});  // call through [rax] / [eax]
  auto lines = boost::make_shared<AssemblerLines>();
  auto generator = createAssemblerGenerator();

  ASSERT_TRUE(manager(64)->fillAssemblerLines(code, lines, generator, {}));
  ASSERT_EQ(lines->size(), 1u);
  EXPECT_EQ((*lines)[0].text(), "call qword ptr [rax]");
  EXPECT_EQ((*lines)[0].address(), 0x8000u);

  ASSERT_TRUE(manager(32)->fillAssemblerLines(code, lines, generator, {}));
  ASSERT_EQ(lines->size(), 1u);
  EXPECT_EQ((*lines)[0].text(), "call dword ptr [eax]");
  EXPECT_TRUE((*lines)[0].operand(0).hasKind(KindMemory));
}

TEST(HostSourceManager, PassesPressureAndSymbols) {
  const CodeBlock code = block({0xe8, 0x00, 0x00, 0x00, 0x00, 0xc5, 0xf4, 0x58, 0xc2});  // call next; vaddps
  auto lines = boost::make_shared<AssemblerLines>();
  auto pressure = boost::make_shared<RegisterPressure>();
  pressure->enableAnalysis();
  const auto named = manager(64, [](std::uint64_t address, std::string& name) {
    if (address != 0x8005) return false;
    name = "helper";
    return true;
  });
  ASSERT_TRUE(named->fillAssemblerLines(code, lines, createAssemblerGenerator(), pressure));
  ASSERT_EQ(lines->size(), 2u);
  EXPECT_EQ((*lines)[0].text(), "call 0x8005 <helper>");
  EXPECT_EQ(pressure->getStatistic(PressureStatistic::VectorRegisters).registers, 3u);
}

TEST(HostSourceManager, WithoutCodeOrGeneratorThereAreNoLines) {
  auto lines = boost::make_shared<AssemblerLines>();
  lines->push_back(AssemblerLine::badData(1, 0));
  const auto source = manager();
  EXPECT_FALSE(source->fillAssemblerLines(block({}), lines, createAssemblerGenerator(), {}));
  EXPECT_TRUE(lines->empty());

  lines->push_back(AssemblerLine::badData(1, 0));
  EXPECT_FALSE(source->fillAssemblerLines(block({0xc3}), lines, {}, {}));
  EXPECT_TRUE(lines->empty());

  EXPECT_FALSE(source->fillAssemblerLines(block({0xc3}), {}, createAssemblerGenerator(), {}));
}

}  // namespace
