// How detectors reach a loop's instructions: the provider's one-row line
// buffer, and the walk that looks for indirect calls in a loop and the
// loops inside it. Results are small texts with real machine code, decoded
// by the host's source manager.

#include <cstdint>
#include <memory>
#include <string>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/assembler_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/assembler_analysis/register_pressure.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"

namespace {

namespace da = data_abstractions2;
using assembler_analysis::AssemblerLines;
using assembler_analysis::RegisterPressure;
using assembler_analysis::SymbolResolver;

/// The host's source manager, counting how often it is asked to decode.
class CountingSourceManager : public da::ISourceManager {
 public:
  explicit CountingSourceManager(SymbolResolver symbols = {})
      : host(foundation::pool_allocate<host_data::HostSourceManager, da::ISourceManager>(64, std::move(symbols))) {}

  bool fillAssemblerLines(const da::CodeBlock& block, const boost::shared_ptr<AssemblerLines>& lines,
                          const boost::shared_ptr<assembler_analysis::AssemblerGenerator>& generator,
                          const boost::shared_ptr<RegisterPressure>& pressure) const override {
    ++calls;
    return host->fillAssemblerLines(block, lines, generator, pressure);
  }

  da::sptr_t<da::ISourceManager> host;
  mutable int calls = 0;
};

/// A loaded result text with a provider over it.
struct Loaded {
  Loaded(const std::string& json, SymbolResolver symbols = {})
      : result(host_data::loadResultText(json, "/tmp/assembler-access")),
        sources(foundation::pool_allocate<CountingSourceManager>(std::move(symbols))) {
    if (!result) return;
    provider = std::make_unique<data_models2::DataProvider>(result.models().surveyModel,
                                                            result.models().resultController, sources);
  }

  /// The bottom-up row with `id`.
  da::row_t row(std::uint64_t id) const { return result.models().surveyModel->getDataset(da::BottomUp)->getRow(id); }

  host_data::LoadResult result;
  da::sptr_t<CountingSourceManager> sources;
  std::unique_ptr<data_models2::DataProvider> provider;
};

// Three innermost loops: one of vector arithmetic, one that calls through a
// register, one without code.
const char* const kThreeLoops = R"({
  "format": "nimbex-result", "version": 1,
  "bottomUp": { "rows": [
    { "id": 1, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 1 },
      "machineCode": { "address": "0x1000", "bytes": "c5 fd 58 c1 c5 fd 59 c2" } },
    { "id": 2, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 2 },
      "machineCode": { "address": "0x2000", "bytes": "ff d0" } },
    { "id": 3, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 3 } } ] },
  "callTree": { "rows": [
    { "id": 100, "children": [101, 102, 103],
      "fields": { "FunctionName": "main", "Field24": 0, "IsSystemFunction": 0, "FuncInstIdx": 9 } },
    { "id": 101, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 1 } },
    { "id": 102, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 2 } },
    { "id": 103, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 3 } } ] }
})";

// One buffer serves all rows and holds the lines of the row of the last
// fill, whoever asks; each row is decoded once for all its readers.
TEST(AssemblerLinesTest, OneBufferHoldsTheLinesOfTheLastFilledRow) {
  Loaded loaded(kThreeLoops);
  ASSERT_TRUE(loaded.result) << loaded.result.error();
  auto& provider = *loaded.provider;
  provider.fillCommonData(loaded.row(1));
  auto buffer = provider.getAssemblerLines(loaded.row(1), {});
  ASSERT_TRUE(buffer);
  ASSERT_EQ(buffer->size(), 2u);
  EXPECT_EQ((*buffer)[0].text(), "vaddpd ymm0, ymm0, ymm1");

  // A later reader that wants register figures gets the same lines and no
  // figures: the lines were there already.
  auto pressure = boost::make_shared<RegisterPressure>();
  pressure->enableAnalysis();
  EXPECT_EQ(provider.getAssemblerLines(loaded.row(1), pressure), buffer);
  EXPECT_EQ(loaded.sources->calls, 1);
  EXPECT_EQ(pressure->getStatistic(assembler_analysis::PressureStatistic::VectorRegisters).registers, 0u);
  // Until the next fill the buffer is the first row's.
  EXPECT_EQ(provider.getAssemblerLines(loaded.row(2), {}), buffer);
  EXPECT_EQ(buffer->size(), 2u);

  provider.fillCommonData(loaded.row(2));
  EXPECT_EQ(buffer->size(), 0u) << "the fill of the next row clears the buffer";
  EXPECT_EQ(provider.getAssemblerLines(loaded.row(2), {}), buffer);
  ASSERT_EQ(buffer->size(), 1u);
  EXPECT_EQ((*buffer)[0].text(), "call rax");
  EXPECT_EQ(loaded.sources->calls, 2);

  // A row without code gives no lines, leaves the buffer empty, and caches
  // nothing: the next reader asks again.
  provider.fillCommonData(loaded.row(3));
  EXPECT_FALSE(provider.getAssemblerLines(loaded.row(3), {}));
  EXPECT_EQ(buffer->size(), 0u);
  EXPECT_FALSE(provider.getAssemblerLines(loaded.row(3), {}));
  EXPECT_EQ(loaded.sources->calls, 4);
}

// An outer loop around an inner one, in both trees. The call-tree rows carry
// the nesting levels and the code the walk looks at.
std::string nest(const std::string& outerLevel, const std::string& outerCode, const std::string& innerLevel,
                 const std::string& innerCode) {
  auto code = [](const std::string& bytes, const char* address) {
    return bytes.empty() ? std::string()
                         : R"(, "machineCode": { "address": ")" + std::string(address) + R"(", "bytes": ")" + bytes +
                               R"(" })";
  };
  return R"({
  "format": "nimbex-result", "version": 1,
  "bottomUp": { "rows": [
    { "id": 1, "type": ["loop"], "children": [2], "fields": { "FuncInstIdx": 1 } },
    { "id": 2, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 2 } } ] },
  "callTree": { "rows": [
    { "id": 100, "children": [101],
      "fields": { "FunctionName": "main", "Field24": 0, "IsSystemFunction": 0, "FuncInstIdx": 9 } },
    { "id": 101, "type": ["loop"], "children": [102], "fields": { "FuncInstIdx": 1, "InnerLoopCount": )" +
         outerLevel + " }" + code(outerCode, "0x1000") + R"( },
    { "id": 102, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 2, "InnerLoopCount": )" + innerLevel +
         " }" + code(innerCode, "0x2000") + R"( } ] }
})";
}

constexpr const char* kCallThroughMemory = "ff 10";      // call qword ptr [rax]
constexpr const char* kCallThroughRegister = "ff d0";    // call rax
constexpr const char* kCallThroughSlot = "ff 15 00 00 00 00";  // call qword ptr [rip]: the slot at 0x2006

struct WalkCase {
  const char *name, *outerLevel, *outerCode, *innerLevel, *innerCode;
  int depth;
  const char* slotSymbol;  // name of the slot at 0x2006; "" leaves it unnamed
  bool found;
};

class IndirectCallWalk : public testing::TestWithParam<WalkCase> {};

TEST_P(IndirectCallWalk, FindsCallsThroughMemoryWithinTheDepth) {
  const WalkCase& c = GetParam();
  SymbolResolver symbols;
  if (*c.slotSymbol) {
    symbols = [symbol = std::string(c.slotSymbol)](std::uint64_t address, std::string& name) {
      if (address != 0x2006) return false;
      name = symbol;
      return true;
    };
  }
  Loaded loaded(nest(c.outerLevel, c.outerCode, c.innerLevel, c.innerCode), symbols);
  ASSERT_TRUE(loaded.result) << loaded.result.error();

  auto handler = loaded.provider->visitRowsForAssembler(loaded.row(1), c.depth);
  ASSERT_TRUE(handler);
  EXPECT_EQ(handler->indirectCallFound(), c.found);
}

constexpr const char* k0 = R"({"u64": 0})";
constexpr const char* k1 = R"({"u64": 1})";
const WalkCase kWalks[] = {
    {"Depth1LooksAtTheStartRow", k1, kCallThroughMemory, k0, "", 1, "", true},
    {"Depth1SkipsTheInnerLoop", k1, "", k0, kCallThroughMemory, 1, "", false},
    {"Depth2ReachesTheInnerLoop", k1, "", k0, kCallThroughMemory, 2, "", true},
    {"CallThroughRegisterCounts", k1, "", k0, kCallThroughRegister, 2, "", true},
    {"UnnamedSlotCounts", k1, "", k0, kCallThroughSlot, 2, "", true},
    {"VectorFunctionThroughMemoryDoesNotCount", k1, "", k0, kCallThroughSlot, 2, "_ZGVdN4v_sin", false},
    // Levels that are not integers read as 0: a start row at "level 0"
    // makes its level-0 inner loop one of its own depth.
    {"TextStartLevelReadsAsZero", R"({"text": "one"})", "", k0, kCallThroughMemory, 1, "", true},
    {"FloatStartLevelReadsAsZero", R"({"f64": 1.0})", "", k0, kCallThroughMemory, 1, "", true},
    {"IntegerInnerLevelWithinDepth", k1, "", k1, kCallThroughMemory, 1, "", true},
    {"FloatInnerLevelReadsAsZero", k1, "", R"({"f64": 1.0})", kCallThroughMemory, 1, "", false},
    {"UnknownInnerLevelAlwaysCounts", k1, "", R"({"u64": 18446744073709551615})", kCallThroughMemory, 1, "", true},
};

const auto kCaseName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Cases, IndirectCallWalk, testing::ValuesIn(kWalks), kCaseName);

// Loops that gcc 12 built (-O2 -fno-plt -fPIC -fopenmp-simd -mavx2, linked
// as a shared library) from
//
//   extern double weight(double);
//   struct ops { double (*f)(double); };
//   double through_all(const double* a, int n, double (*fp)(double), const struct ops* o) {
//     double s = 0;
//     for (int i = 0; i < n; ++i) { s += weight(a[i]); s += fp(a[i]); s += o->f(a[i]); }
//     return s;
//   }
//   #pragma omp declare simd notinbranch
//   extern double vweight(double);
//   void vector_calls(double* a, int n) {
//   #pragma omp simd
//     for (int i = 0; i < n; ++i) a[i] = vweight(a[i]);
//   }
//
// and the slots of its global offset table as the result's "symbols" names
// them (readelf -r). Each case is a stretch of the real code at its address.
struct GccCallCase {
  const char *name, *address, *bytes;
  bool withSymbols, found;
};

constexpr const char* kGotCallOfWeight = "c5 fb 10 03 c5 fb 11 4c 24 08 48 83 c3 08 ff 15 9c 2f 00 00";
const GccCallCase kGccCalls[] = {
    // call qword ptr [rip+0x2f9c]: the slot of weight
    {"GotCallOfANamedFunctionIsDirect", "0x1030", kGotCallOfWeight, true, false},
    {"GotCallWithoutTheTableIsIndirect", "0x1030", kGotCallOfWeight, false, true},
    // call rbp: fp
    {"CallThroughARegisterIsIndirect", "0x1044", "c5 fb 10 4c 24 08 c5 fb 58 d1 c5 fb 10 43 f8 c5 fb 11 54 24 08 ff d5",
     true, true},
    // call qword ptr [r12]: o->f
    {"CallThroughMemoryIsIndirect", "0x105b", "c5 fb 58 5c 24 08 c5 fb 10 43 f8 c5 fb 11 5c 24 08 41 ff 14 24", true,
     true},
    // The vector body: call qword ptr [rip+0x2ed2], the slot of _ZGVdN4v_vweight
    {"GotCallOfAVectorVariantIsNotIndirect", "0x10f0",
     "c5 fd 10 03 48 83 c3 20 ff 15 d2 2e 00 00 c5 fd 11 43 e0 4c 39 f3 75 e8", true, false},
};

class GccCallWalk : public testing::TestWithParam<GccCallCase> {};

TEST_P(GccCallWalk, CallsThroughNamedSlotsAreDirect) {
  const GccCallCase& c = GetParam();
  const std::string json = std::string(R"({
  "format": "nimbex-result", "version": 1,
  "symbols": { "libcalls.so": [ { "address": "0x3fc8", "name": "vweight" },
                                { "address": "0x3fd0", "name": "_ZGVdN4v_vweight" },
                                { "address": "0x3fd8", "name": "_ZGVbN2v_vweight" },
                                { "address": "0x3fe0", "name": "weight" } ] },
  "bottomUp": { "rows": [ { "id": 1, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 1 } } ] },
  "callTree": { "rows": [ { "id": 101, "type": ["loop", "innermost"], "fields": { "FuncInstIdx": 1 },
    "machineCode": { "address": ")") + c.address + R"(", "bytes": ")" + c.bytes + R"(" } } ] }
})";
  host_data::LoadResult parsed = host_data::loadResultText(json, "/tmp/assembler-access");
  ASSERT_TRUE(parsed) << parsed.error();
  // As nimbex-cl hands the result's table to the decoder.
  SymbolResolver symbols;
  if (c.withSymbols) {
    symbols = [table = parsed.models().symbols](std::uint64_t address, std::string& name) {
      const auto found = table->find(address);
      if (found == table->end()) return false;
      name = found->second;
      return true;
    };
  }
  Loaded loaded(json, symbols);
  ASSERT_TRUE(loaded.result) << loaded.result.error();
  auto handler = loaded.provider->visitRowsForAssembler(loaded.row(1), 1);
  ASSERT_TRUE(handler);
  EXPECT_EQ(handler->indirectCallFound(), c.found);
}

INSTANTIATE_TEST_SUITE_P(Cases, GccCallWalk, testing::ValuesIn(kGccCalls), kCaseName);

}  // namespace
