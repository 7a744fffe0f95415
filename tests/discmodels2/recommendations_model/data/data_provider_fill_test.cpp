#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/data_provider.h"
#include "tests/discmodels2/recommendations_model/data/fake_result.h"

namespace {

using namespace test_fakes;
using data_models2::CommonData;
using data_models2::DataProvider;
using system_info::SystemInfo;

TEST(DataProviderFillTest, ReadsEveryFieldIntoItsMember) {
  // One row per field, each with a value no other field has, so that a field
  // read into the wrong member shows.
  const struct {
    FieldId id;
    variant_t value;
    std::function<bool(const CommonData&)> read;
  } fields[] = {
      {SourceFile, variant_t("/src/kernel.cpp"), [](auto& d) { return d.sourceFile == "/src/kernel.cpp"; }},
      {FunctionName, variant_t("kernel"), [](auto& d) { return d.functionName == "kernel"; }},
      {CompilerName, variant_t("Vorex C++ Compiler"),
       [](auto& d) { return d.compilerName == "vorex c++ compiler" && d.isVorexCompiler; }},
      {CompilerVersion, variant_t("2021.10.0 Build"),
       [](auto& d) {
         return d.compilerVersionText == "2021.10.0 build" &&
                d.compilerVersion == data_models2::compiler_helpers::CompilerVersion{2021, 10, 0};
       }},
      {CompilerFlags, variant_t("-O3 -xHost"), [](auto& d) { return d.compilerFlags == "-O3 -xHost"; }},
      {VectorizationDiagnosticId, variant_t(15300), [](auto& d) { return d.vectorizationDiagnosticId == 15300; }},
      {Isa, variant_t("AVX512"),
       [](auto& d) { return d.isaName == "avx512" && d.isaType == SystemInfo::IsaAvx512 && d.isAvx512; }},
      {InstructionSets, variant_t("FMA; AVX512F"), [](auto& d) { return d.instructionSets == "FMA; AVX512F"; }},
      {TotalTime, variant_t(2.5), [](auto& d) { return d.totalTime == 2.5; }},
      {SelfTime, variant_t(1.5), [](auto& d) { return d.selfTime == 1.5; }},
      {TripCountMin, variant_t(std::uint64_t{2}), [](auto& d) { return d.tripCountMin == 2u; }},
      {TripCountMax, variant_t(std::uint64_t{9}), [](auto& d) { return d.tripCountMax == 9u; }},
      {IterationCount, variant_t(std::uint64_t{1000}), [](auto& d) { return d.iterationCount == 1000u; }},
      {TripCountsValid, variant_t(true), [](auto& d) { return d.tripCountsValid; }},
      {IsVectorized, variant_t(true), [](auto& d) { return d.isVectorized; }},
      {DataTypeName, variant_t("Float64"), [](auto& d) { return d.dataTypeName == "Float64"; }},
      {VectorLengths, variant_t("2;8"), [](auto& d) { return d.vectorLengthText == "2;8" && d.vectorLength == 8; }},
      {UnrollFactor, variant_t(4), [](auto& d) { return d.unrollFactor == 4; }},
      {Field22, variant_t(std::int64_t{-2}), [](auto& d) { return d.field22 == -2; }},
      {InnerLoopCount, variant_t(std::uint64_t{3}), [](auto& d) { return d.innerLoopCount == 3u; }},
      {MainVectType, variant_t(2), [](auto& d) { return d.mainVectType == 2; }},
      {VectorEfficiency, variant_t(87.5), [](auto& d) { return d.vectorEfficiency == 87.5; }},
      {FuncInstIdx, variant_t(std::uint64_t{77}), [](auto& d) { return d.funcInstIdx == 77u; }},
      {MangledName, variant_t("_Z6kernelv"), [](auto& d) { return d.mangledName == "_Z6kernelv"; }},
      {Field392, variant_t(std::int64_t{5}), [](auto& d) { return d.field392 == 5; }},
  };
  FakeResult result;
  auto row = result.addRow(1, IMetadata::TypeLoop | IMetadata::TypeInnermost);
  for (const auto& f : fields) result.bottomUp->set(row, f.id, f.value);
  auto provider = result.provider();
  ASSERT_TRUE(provider->fillCommonData(row));
  const CommonData& d = provider->getData(row);
  for (const auto& f : fields) EXPECT_TRUE(f.read(d)) << fieldName(f.id);
  EXPECT_FALSE(d.isFortran);
  EXPECT_FALSE(d.typeFlag1024);
}

TEST(DataProviderFillTest, RowWithoutFieldsKeepsDefaultsAndRecordsAbsence) {
  FakeResult result;
  auto row = result.addRow(1, 0);
  auto provider = result.provider();
  ASSERT_TRUE(provider->fillCommonData(row));
  CommonData d = provider->getData(row);

  EXPECT_FALSE(d.isLoop);
  EXPECT_FALSE(d.isInnermostLoop);
  EXPECT_FALSE(d.typeFlag1024);
  // An empty compiler name is not the Vorex compiler, unlike a record that
  // was never filled.
  EXPECT_FALSE(d.isVorexCompiler);
  EXPECT_EQ(d.compilerVersion, data_models2::compiler_helpers::CompilerVersion{});
  EXPECT_EQ(d.vectorizationDiagnosticId, -1);
  EXPECT_EQ(d.vectorLength, 1);
  EXPECT_EQ(d.unrollFactor, 1);
  EXPECT_EQ(d.isaType, SystemInfo::IsaNone);
  for (FieldId id : {SourceFile, SelfTime, TotalTime, CompilerName, VectorizationDiagnosticId, TripCountAverage,
                     CallCount, FuncInstIdx, MangledName, Field392}) {
    SCOPED_TRACE(static_cast<int>(id));
    ASSERT_EQ(d.fieldPresence.count(id), 1u);
    EXPECT_FALSE(d.fieldPresence.at(id));
  }
}

// Counts fills so that the cache's refusal to retry is visible.
class CountingProvider : public DataProvider {
 public:
  using DataProvider::DataProvider;
  bool fillCommonData(const row_t& row) const override {
    ++fills;
    return DataProvider::fillCommonData(row);
  }
  mutable int fills = 0;
};

TEST(DataProviderGetDataTest, FailedFillIsRememberedAsTheDefaultRecord) {
  CountingProvider provider(nullptr, nullptr, nullptr);
  auto row = makeRow(1, IMetadata::TypeLoop);

  const CommonData& first = provider.getData(row);
  EXPECT_TRUE(first.typeFlag1024);
  EXPECT_TRUE(first.isLoop);
  EXPECT_TRUE(first.isInnermostLoop);
  EXPECT_TRUE(first.isVorexCompiler);
  provider.getData(row);
  EXPECT_EQ(provider.fills, 1);
}

TEST(DataProviderGetDataTest, FillsOnceAndRefillReplacesTheRecord) {
  FakeResult result;
  auto row = result.addRow(1);
  result.bottomUp->set(row, SelfTime, variant_t(1.0));
  CountingProvider provider(result.model, nullptr, nullptr);

  EXPECT_EQ(provider.getData(row).selfTime, 1.0);
  EXPECT_EQ(provider.getData(row).selfTime, 1.0);
  EXPECT_EQ(provider.fills, 1);

  result.bottomUp->set(row, SelfTime, variant_t(2.0));
  EXPECT_EQ(provider.getData(row).selfTime, 1.0);
  ASSERT_TRUE(provider.fillCommonData(row));
  EXPECT_EQ(provider.getData(row).selfTime, 2.0);
}

TEST(DataProviderFillTest, FailsWithoutRowMetadataOrBottomUpTree) {
  FakeResult result;
  auto noMetadata = makeRow(1, 0, false);
  result.bottomUp->add(noMetadata, true);
  auto provider = result.provider();
  EXPECT_FALSE(provider->fillCommonData(nullptr));
  EXPECT_FALSE(provider->fillCommonData(noMetadata));
  EXPECT_TRUE(provider->getData(noMetadata).typeFlag1024);

  result.model->datasets.erase(BottomUp);
  EXPECT_FALSE(result.provider()->fillCommonData(result.addRow(2)));
}

TEST(DataProviderFillTest, TripCountQueriesShareOneRecord) {
  struct Case {
    const char* name;
    bool withManager;
    std::optional<std::uint64_t> average, calls;
    std::uint64_t expectedAverage, expectedCalls;
    bool present135, present139;
  };
  const Case cases[] = {
      {"no loop manager", false, 12, 3, 0, 0, false, false},
      {"both answer", true, 12, 3, 12, 3, true, true},
      // The failed second query leaves the first answer in the shared record.
      {"call count query fails", true, 12, std::nullopt, 12, 12, true, false},
      {"average query fails", true, std::nullopt, 3, 0, 3, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    if (!c.withManager) result.model->loopManager = nullptr;
    if (c.average) result.manager->tripCounts[TripCountAverage] = *c.average;
    if (c.calls) result.manager->tripCounts[CallCount] = *c.calls;
    auto row = result.addRow(1);
    CommonData d = result.provider()->getData(row);
    EXPECT_EQ(d.tripCountAverage, c.expectedAverage);
    EXPECT_EQ(d.callCount, c.expectedCalls);
    EXPECT_EQ(d.fieldPresence[TripCountAverage], c.present135);
    EXPECT_EQ(d.fieldPresence[CallCount], c.present139);
  }
}

TEST(DataProviderFillTest, MemopFromMessageOrDiagnostic) {
  struct Case {
    const char* name;
    std::optional<variant_t> message, diagnostic;
    bool expected;
  };
  const Case cases[] = {
      {"message", variant_t("loop: MEMOP WAS GENERATED FOR THIS LOOP"), variant_t(1), true},
      {"diagnostic 15306 with empty message", variant_t(""), variant_t(15306), true},
      {"diagnostic 15306 stored unsigned", std::nullopt, variant_t(std::uint64_t{15306}), true},
      {"other diagnostic", variant_t("LOOP WAS VECTORIZED"), variant_t(15300), false},
      {"message in lower case", variant_t("memop was generated for this loop"), std::nullopt, false},
      {"neither", std::nullopt, std::nullopt, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    auto row = result.addRow(1);
    if (c.message) result.bottomUp->set(row, VectorizationMessage, *c.message);
    if (c.diagnostic) result.bottomUp->set(row, VectorizationDiagnosticId, *c.diagnostic);
    EXPECT_EQ(result.provider()->getData(row).hasMemop, c.expected);
  }
}

TEST(DataProviderFillTest, LanguageFromFileExtensionElseCompiler) {
  struct Case {
    const char* name;
    std::optional<const char*> sourceFile, compiler;
    bool expected;
  };
  const Case cases[] = {
      {"F90", "/src/a.F90", std::nullopt, true},
      {"any extension beginning with f", "a.for", std::nullopt, true},
      {"last dot counts", "a.f.c", std::nullopt, false},
      {"cpp with a Fortran compiler", "a.cpp", "Fortran Compiler", false},
      {"no dot with a Fortran compiler", "Makefile", "Fortran Compiler", false},
      {"empty file name", "", "Fortran Compiler", false},
      {"no file, Fortran compiler", std::nullopt, "Vorex FORTRAN", true},
      {"no file, C compiler", std::nullopt, "Vorex C", false},
      {"neither", std::nullopt, std::nullopt, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    auto row = result.addRow(1);
    if (c.sourceFile) result.bottomUp->set(row, SourceFile, variant_t(*c.sourceFile));
    if (c.compiler) result.bottomUp->set(row, CompilerName, variant_t(*c.compiler));
    EXPECT_EQ(result.provider()->getData(row).isFortran, c.expected);
  }
}

TEST(DataProviderFillTest, FileNameEndingInDotRaises) {
  FakeResult result;
  auto row = result.addRow(1);
  result.bottomUp->set(row, SourceFile, variant_t("broken."));
  EXPECT_THROW(result.provider()->fillCommonData(row), std::out_of_range);
}

TEST(DataProviderFillTest, EachTypeBitSetsExactlyItsMember) {
  using Flag = bool CommonData::*;
  const std::vector<std::pair<IMetadata::type_t, Flag>> flags = {
      {4, &CommonData::isLoop},           {16, &CommonData::isInnermostLoop},
      {8, &CommonData::isSplitLoop},      {128, &CommonData::isVectorBodyPart},
      {32, &CommonData::isPeelPart},      {64, &CommonData::isRemainderPart},
      {1024, &CommonData::typeFlag1024},  {512, &CommonData::typeFlag512},
      {16384, &CommonData::typeFlag16384}, {2048, &CommonData::typeFlag2048},
  };
  for (const auto& [bit, member] : flags) {
    SCOPED_TRACE(bit);
    FakeResult result;
    auto row = result.addRow(1, bit);
    auto provider = result.provider();
    const CommonData& d = provider->getData(row);
    for (const auto& [otherBit, otherMember] : flags) EXPECT_EQ(d.*otherMember, otherBit == bit) << otherBit;
  }
}

TEST(DataProviderFillTest, GathersAndStridesFromAccessPatternTable) {
  struct Case {
    const char* name;
    bool withTable;
    std::vector<int> indices;
    bool gathersAnswer;
    bool expectGatherInfo;
    bool expectStrides;
    double expectedKind0;
  };
  // Table rows: 0 unmarked, 1 marked with its mark stored as text (counts as
  // unmarked), 2 marked with shares 0.5/0.25/0.25, 3 marked with 0.9.
  const Case cases[] = {
      {"first marked record wins", true, {0, 1, 2, 3}, true, true, true, 0.5},
      {"index order, not table order", true, {3, 2}, false, false, true, 0.9},
      {"no marked record", true, {0, 1}, true, true, false, 0.0},
      {"no indices", true, {}, true, false, false, 0.0},
      {"no table", false, {0, 2}, true, false, false, 0.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    auto table = foundation::pool_allocate<FakeDataset>(DataTypeNone);
    for (std::uint64_t id = 100; id < 104; ++id) table->add(makeRow(id, 0));
    table->set(table->rows[0], StrideRowMark, variant_t(false));
    table->set(table->rows[1], StrideRowMark, variant_t("true"));
    table->set(table->rows[2], StrideRowMark, variant_t(true));
    table->set(table->rows[2], StrideKind0, variant_t(0.5));
    table->set(table->rows[2], StrideKind1, variant_t(0.25));
    table->set(table->rows[2], StrideKind2, variant_t(0.25));
    table->set(table->rows[3], StrideRowMark, variant_t(std::uint8_t{1}));
    table->set(table->rows[3], StrideKind0, variant_t(0.9));
    if (c.withTable) result.manager->table = table;
    result.manager->indices = c.indices;
    result.manager->gathers = {Gather{"a", "3", "k.c:10"}};
    result.manager->gathersValid = c.gathersAnswer;

    auto row = result.addRow(1);
    auto provider = result.provider();
    const CommonData& d = provider->getData(row);
    EXPECT_EQ(d.hasGatherInfo, c.expectGatherInfo);
    EXPECT_EQ(d.gatherIndices, c.withTable ? c.indices : std::vector<int>{});
    EXPECT_EQ(d.gathers.size(), c.withTable && !c.indices.empty() ? 1u : 0u);
    EXPECT_EQ(d.strides.valid, c.expectStrides);
    EXPECT_EQ(d.strides.get(0), c.expectedKind0);
  }
}

TEST(DataProviderFillTest, StaticAndDynamicInstructionMixes) {
  FakeResult result;
  result.model->mixes[MixStatic] = {{1, variant_t(10)}};
  result.model->mixes[MixDynamic] = {{1, variant_t(5000)}, {2, variant_t(7)}};
  auto row = result.addRow(1);
  auto provider = result.provider();
  const CommonData& d = provider->getData(row);
  EXPECT_EQ(d.instructionMix, result.model->mixes[MixStatic]);
  EXPECT_EQ(d.instructionMixDynamic, result.model->mixes[MixDynamic]);
}

}  // namespace
