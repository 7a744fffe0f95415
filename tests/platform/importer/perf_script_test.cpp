// The perf script reader and the producer parser, on the texts the tools
// write.

#include "platform/importer/perf_script.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/importer/elf_binary.h"

namespace {

using nimbex::importer::parsePerfScript;
using nimbex::importer::PerfScript;

struct FrameCase {
  const char* name;
  const char* text;
  std::size_t samples;
  std::uint32_t tid;
  std::uint64_t period;
  std::uint64_t address;  // first frame of the first sample
  const char* symbol;
  const char* module;
  std::size_t frames;
};

const FrameCase kFrames[] = {
    {"CallChain",
     "app 12182   403.171460:    1000000 \n\t            11a2 saxpy.constprop.0 (/tmp/app)\n"
     "\t           2724a __libc_start_call_main (/usr/lib/x86_64-linux-gnu/libc.so.6)\n\n",
     1, 12182, 1000000, 0x11a2, "saxpy.constprop.0", "/tmp/app", 2},
    // C++ names hold spaces and parentheses; only the last group is the module.
    {"CppSymbolWithOffset",
     "heat 7/9 1.5: 250000 cpu-clock:\n\t 401a40 relax(Grid&, Grid const&)+0x20 (/home/a/heat)\n",
     1, 9, 250000, 0x401a40, "relax(Grid&, Grid const&)", "/home/a/heat", 1},
    {"UnknownSymbol", "app 5 2.0: 10\n\t ffffffff81000000 [unknown] ([kernel.kallsyms])\n", 1, 5, 10, 0xffffffff81000000u, "",
     "[kernel.kallsyms]", 1},
    // Without call chains the sampled address is the process's; the mmap
    // event moves it into the module.
    {"NoCallChainRelocated",
     "app 9 1.0: PERF_RECORD_MMAP2 9/9: [0x5562a2836000(0x1000) @ 0x1000 fe:00 1 2]: r-xp /tmp/app\n"
     "app 9 1.1: 1000 5562a28361a2 saxpy (/tmp/app)\n",
     1, 9, 1000, 0x11a2, "saxpy", "/tmp/app", 1},
    {"CommandWithSpaces", "my app 44 3.25: 7\n\t 10 f (/a)\n\nmy app 44 3.5: 7\n\t 20 g (/a)\n", 2, 44, 7, 0x10, "f", "/a", 1},
};

class PerfFrames : public testing::TestWithParam<FrameCase> {};

TEST_P(PerfFrames, ReadsSampleAndFrames) {
  const FrameCase& c = GetParam();
  PerfScript script;
  std::string error;
  ASSERT_TRUE(parsePerfScript(c.text, "perf.txt", script, error)) << error;
  ASSERT_EQ(script.samples.size(), c.samples);
  const auto& sample = script.samples.front();
  EXPECT_EQ(sample.tid, c.tid);
  EXPECT_EQ(sample.period, c.period);
  ASSERT_EQ(sample.frames.size(), c.frames);
  EXPECT_EQ(sample.frames[0].address, c.address);
  EXPECT_EQ(sample.frames[0].symbol, c.symbol);
  EXPECT_EQ(sample.frames[0].module, c.module);
}

INSTANTIATE_TEST_SUITE_P(Texts, PerfFrames, testing::ValuesIn(kFrames),
                         [](const testing::TestParamInfo<FrameCase>& info) { return std::string(info.param.name); });

TEST(PerfScriptErrors, NameFileAndLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"\t 11a2 f (/a)\n", "perf.txt:1: a call-chain frame outside a sample"},
      {"app 1 1.0: 5\n\t zz f (/a)\n", "perf.txt:2: expected a frame"},
      {"no numbers here\n", "perf.txt:1: expected a sample"},
  };
  for (const auto& [text, expected] : cases) {
    PerfScript script;
    std::string error;
    EXPECT_FALSE(parsePerfScript(text, "perf.txt", script, error));
    EXPECT_EQ(error.rfind(expected, 0), 0u) << error;
  }
}

TEST(Producer, NameVersionFirstAndOptions) {
  struct Case {
    const char* producer;
    const char* name;
    const char* version;
    const char* flags;
  };
  const Case cases[] = {
      // The version text leads with the number: version parsers take the
      // first number they see, which must not be the 17 of C17.
      {"GNU C17 12.2.0 -mavx2 -O3 -g", "GNU C17", "12.2.0 -mavx2 -O3 -g", "-mavx2 -O3 -g"},
      {"GNU C++17 12.2.0", "GNU C++17", "12.2.0", ""},
      {"Debian clang version 14.0.6 /usr/lib/llvm-14/bin/clang -O3 -g -c k.c -o k.o -march=x86-64-v3", "clang", "14.0.6",
       "-O3 -g -march=x86-64-v3"},
      {"Debian clang version 14.0.6", "clang", "14.0.6", ""},
  };
  for (const Case& c : cases) {
    nimbex::importer::CompilerFacts facts = nimbex::importer::parseProducer(c.producer);
    EXPECT_EQ(facts.name, c.name) << c.producer;
    EXPECT_EQ(facts.version, c.version) << c.producer;
    EXPECT_EQ(facts.flags, c.flags) << c.producer;
  }
}

}  // namespace
