// What fillCommonData reads from a row's fields, the loop manager and the
// view model, and how the provider caches the record.

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
using Version = data_models2::compiler_helpers::CompilerVersion;

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
      {CompilerVersion, variant_t("2021.10.0 Build"), [](auto& d) {
         return d.compilerVersionText == "2021.10.0 build" && d.compilerVersion == Version{2021, 10, 0};
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
  result.model->mixes[MixStatic] = {{1, variant_t(10)}};
  result.model->mixes[MixDynamic] = {{1, variant_t(5000)}, {2, variant_t(7)}};
  auto provider = result.provider();
  ASSERT_TRUE(provider->fillCommonData(row));
  const CommonData& d = provider->getData(row);
  for (const auto& f : fields) EXPECT_TRUE(f.read(d)) << fieldName(f.id);
  EXPECT_FALSE(d.isFortran);
  EXPECT_FALSE(d.typeFlag1024);
  EXPECT_EQ(d.instructionMix, result.model->mixes[MixStatic]);
  EXPECT_EQ(d.instructionMixDynamic, result.model->mixes[MixDynamic]);
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
  EXPECT_EQ(d.compilerVersion, Version{});
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

  // Fills fail without a row, without row metadata, or without a bottom-up tree.
  FakeResult result;
  auto noMetadata = makeRow(1, 0, false);
  result.bottomUp->add(noMetadata, true);
  auto filled = result.provider();
  EXPECT_FALSE(filled->fillCommonData(nullptr));
  EXPECT_FALSE(filled->fillCommonData(noMetadata));
  EXPECT_TRUE(filled->getData(noMetadata).typeFlag1024);
  result.model->datasets.erase(BottomUp);
  EXPECT_FALSE(result.provider()->fillCommonData(result.addRow(2)));
}

TEST(DataProviderFillTest, TripCountQueriesShareOneRecord) {
  struct Case {
    const char* name;
    bool withManager;
    std::optional<std::uint64_t> average, calls;
    std::uint64_t expectedAverage, expectedCalls;
    bool averagePresent, callsPresent;
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
    EXPECT_EQ(d.fieldPresence[TripCountAverage], c.averagePresent);
    EXPECT_EQ(d.fieldPresence[CallCount], c.callsPresent);
  }
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

TEST(DataProviderFillTest, MemopAndLanguageFromTheirFields) {
  using Fields = std::vector<std::pair<FieldId, variant_t>>;
  struct Case {
    const char* name;
    Fields fields;
    bool CommonData::*flag;
    bool expected;
  };
  const auto memop = &CommonData::hasMemop;
  const auto fortran = &CommonData::isFortran;
  const Case cases[] = {
      {"memop message", {{VectorizationMessage, variant_t("loop: MEMOP WAS GENERATED FOR THIS LOOP")},
                         {VectorizationDiagnosticId, variant_t(1)}}, memop, true},
      {"memop diagnostic 15306 with empty message",
       {{VectorizationMessage, variant_t("")}, {VectorizationDiagnosticId, variant_t(15306)}}, memop, true},
      {"memop diagnostic 15306 stored unsigned", {{VectorizationDiagnosticId, variant_t(std::uint64_t{15306})}}, memop,
       true},
      {"other diagnostic",
       {{VectorizationMessage, variant_t("LOOP WAS VECTORIZED")}, {VectorizationDiagnosticId, variant_t(15300)}},
       memop, false},
      {"memop message in lower case", {{VectorizationMessage, variant_t("memop was generated for this loop")}},
       memop, false},
      {"no memop fields", {}, memop, false},
      // The language comes from the file extension, else from the compiler.
      {"F90", {{SourceFile, variant_t("/src/a.F90")}}, fortran, true},
      {"any extension beginning with f", {{SourceFile, variant_t("a.for")}}, fortran, true},
      {"last dot counts", {{SourceFile, variant_t("a.f.c")}}, fortran, false},
      {"cpp with a Fortran compiler", {{SourceFile, variant_t("a.cpp")}, {CompilerName, variant_t("Fortran Compiler")}},
       fortran, false},
      {"no dot with a Fortran compiler",
       {{SourceFile, variant_t("Makefile")}, {CompilerName, variant_t("Fortran Compiler")}}, fortran, false},
      {"empty file name", {{SourceFile, variant_t("")}, {CompilerName, variant_t("Fortran Compiler")}}, fortran, false},
      {"no file, Fortran compiler", {{CompilerName, variant_t("Vorex FORTRAN")}}, fortran, true},
      {"no file, C compiler", {{CompilerName, variant_t("Vorex C")}}, fortran, false},
      {"no language fields", {}, fortran, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    auto row = result.addRow(1);
    for (const auto& [id, value] : c.fields) result.bottomUp->set(row, id, value);
    EXPECT_EQ(result.provider()->getData(row).*c.flag, c.expected);
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
    const CommonData d = result.provider()->getData(result.addRow(1, bit));
    for (const auto& [otherBit, otherMember] : flags) EXPECT_EQ(d.*otherMember, otherBit == bit) << otherBit;
  }
}

TEST(DataProviderFillTest, GathersAndStridesFromAccessPatternTable) {
  struct Case {
    const char* name;
    bool withTable;
    std::vector<int> indices;
    bool gathersAnswer, expectGatherInfo, expectStrides;
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
  auto table = foundation::pool_allocate<FakeDataset>(DataTypeNone);
  const variant_t marks[] = {variant_t(false), variant_t("true"), variant_t(true), variant_t(std::uint8_t{1})};
  for (std::uint64_t i = 0; i < 4; ++i) {
    table->add(makeRow(100 + i, 0));
    table->set(table->rows[i], StrideRowMark, marks[i]);
  }
  table->set(table->rows[2], StrideKind0, variant_t(0.5));
  table->set(table->rows[2], StrideKind1, variant_t(0.25));
  table->set(table->rows[2], StrideKind2, variant_t(0.25));
  table->set(table->rows[3], StrideKind0, variant_t(0.9));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeResult result;
    if (c.withTable) result.manager->table = table;
    result.manager->indices = c.indices;
    result.manager->gathers = {Gather{"a", "3", "k.c:10"}};
    result.manager->gathersValid = c.gathersAnswer;

    const CommonData d = result.provider()->getData(result.addRow(1));
    EXPECT_EQ(d.hasGatherInfo, c.expectGatherInfo);
    EXPECT_EQ(d.gatherIndices, c.withTable ? c.indices : std::vector<int>{});
    EXPECT_EQ(d.gathers.size(), c.withTable && !c.indices.empty() ? 1u : 0u);
    EXPECT_EQ(d.strides.valid, c.expectStrides);
    EXPECT_EQ(d.strides.get(0), c.expectedKind0);
  }
}

}  // namespace
