// Roof classification, the interpolator's choice of roofs and a row's place
// on the chart, on small hand-made results.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/model_support/roofline_interpolator.h"
#include "platform/model_support/roofline_roofs.h"
#include "platform/model_support/roofline_row_info.h"
#include "tests/data_abstractions2/test_tree.h"

namespace {

namespace da = data_abstractions2;
using da::LimitingRoof;
using da::RoofItem;
using data_models2::CodeKind;
using data_models2::MemoryLevel;
using data_models2::RoofClass;
using foundation::variant_t;

constexpr double G = 1e9;
constexpr std::uint64_t B = 1000000000;
constexpr auto F = da::OperationsFloat, I = da::OperationsInt;

da::generic_iterator_t<RoofItem> items(std::vector<RoofItem> roofs) {
  return da::generic_iterator_t<RoofItem>(std::move(roofs));
}

// The machine of the shipped example: four bandwidths, an AVX-512 vector
// FMA peak and a scalar add peak, plus an integer vector peak.
std::vector<RoofItem> machineRoofs() {
  return {{"L1 Bandwidth", 1228800000000, 1},        {"L2 Bandwidth", 409600000000, 1},
          {"L3 Bandwidth", 153600000000, 1},         {"DRAM Bandwidth", 25600000000, 1},
          {"DP Vector FMA Peak", 76800000000, 2 | 16 | 32}, {"Scalar Add Peak", 9600000000, 2},
          {"Int Vector Add Peak", 40000000000, 2 | 4 | 16}};
}

class Controller : public da::IResultController {
 public:
  Controller(int maxVector, std::uint64_t isa) : maxVector(maxVector), isa(isa) {}
  bool hasCollectedData(int) const override { return true; }
  std::uint64_t getIsaExtensions(int) const override { return isa; }
  int getCpuType(int) const override { return 0; }
  int getMaxVectorLength(int) const override { return maxVector; }
  bool isResultFrozen() const override { return false; }
  std::string getResultDir(int) const override { return {}; }
  std::string getResultFile() const override { return {}; }
  int maxVector;
  std::uint64_t isa;
};

da::sptr_t<da::IResultController> avx512() { return foundation::pool_allocate<Controller, da::IResultController>(512, 11); }

/// One row with roofline figures and the two time fields.
class Dataset : public da::IDataset {
 public:
  da::DataType getDataType() const override { return da::BottomUp; }
  da::column_t getColumn(da::FieldId id) const override { return static_cast<da::column_t>(id); }
  bool getValue(const da::row_t&, da::column_t column, int, variant_t& value) const override {
    auto it = fields.find(column);
    if (it == fields.end()) return false;
    value = it->second;
    return true;
  }
  std::size_t rowCount() const override { return 1; }
  da::generic_iterator_t<da::row_t> getRoots() const override { return {}; }
  std::uint64_t getRowId(int) const override { return 1; }
  da::row_t getRow(std::uint64_t) const override { return nullptr; }
  bool getRowRoofline(const da::row_t&, da::RowRoofline& out) const override {
    if (!hasFigures) return false;
    out = figures;
    return true;
  }

  std::map<da::column_t, variant_t> fields;
  bool hasFigures = true;
  da::RowRoofline figures;
};

TEST(RooflineRoofsTest, ClassifiesBySecondWordThenByName) {
  struct Case {
    RoofItem item;
    RoofClass::Kind kind;
    MemoryLevel level;
    bool integer, vector, fma, single;
  };
  const Case cases[] = {
      {{"L1 Bandwidth", 1, 1}, RoofClass::Memory, MemoryLevel::L1, false, false, false, false},
      {{"DRAM Bandwidth", 1, 1 | 8}, RoofClass::Memory, MemoryLevel::Dram, false, false, false, true},
      {{"System memory", 1, 1}, RoofClass::Memory, MemoryLevel::Dram, false, false, false, false},
      {{"MCDRAM", 1, 1}, RoofClass::Memory, MemoryLevel::Unknown, false, false, false, false},
      // The compute bits mean nothing on a memory roof, and bit 1 wins.
      {{"L2 Bandwidth", 1, 1 | 2 | 4 | 16 | 32}, RoofClass::Memory, MemoryLevel::L2, false, false, false, false},
      {{"DP Vector FMA Peak", 1, 2 | 16 | 32}, RoofClass::Compute, MemoryLevel::Unknown, false, true, true, false},
      {{"Int Vector Add Peak", 1, 2 | 4 | 16}, RoofClass::Compute, MemoryLevel::Unknown, true, true, false, false},
      // With bits, the name is not read for the class.
      {{"Vector FMA Peak", 1, 2}, RoofClass::Compute, MemoryLevel::Unknown, false, false, false, false},
      // Without class bits the name decides.
      {{"L3 Bandwidth", 1, 0}, RoofClass::Memory, MemoryLevel::L3, false, false, false, false},
      {{"SP Vector FMA Peak", 1, 0}, RoofClass::Compute, MemoryLevel::Unknown, false, true, true, false},
      {{"Int64 Scalar Peak (single-thread)", 1, 0}, RoofClass::Compute, MemoryLevel::Unknown, true, false, false,
       true},
      {{"Frequency", 1, 0}, RoofClass::None, MemoryLevel::Unknown, false, false, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.item.name + " / " + std::to_string(c.item.secondWord));
    const RoofClass cls = data_models2::classifyRoof(c.item);
    EXPECT_EQ(cls.kind, c.kind);
    EXPECT_EQ(cls.level, c.level);
    EXPECT_EQ(cls.integer, c.integer);
    EXPECT_EQ(cls.vector, c.vector);
    EXPECT_EQ(cls.fma, c.fma);
    EXPECT_EQ(cls.singleThread, c.single);
  }
}

TEST(RooflineRoofsTest, MemoryRoofsComeSlowestFirstAndThreadFiguresFallBack) {
  const data_models2::Roofs roofs(items({{"DRAM Bandwidth", 25, 1},
                                         {"L1 Bandwidth", 1000, 1},
                                         {"Broken", 0, 1},
                                         {"L2 Bandwidth", 400, 1},
                                         {"L1 Bandwidth", 300, 1 | 8},
                                         {"Peak", 70, 2 | 8}}));
  std::vector<std::uint64_t> values;
  for (const auto& e : roofs.memoryRoofs(da::IRooflineInfo::AllThreads)) values.push_back(e.item.value);
  EXPECT_EQ(values, (std::vector<std::uint64_t>{25, 400, 1000}));  // the zero roof is dropped
  values.clear();
  for (const auto& e : roofs.memoryRoofs(da::IRooflineInfo::SingleThread)) values.push_back(e.item.value);
  EXPECT_EQ(values, (std::vector<std::uint64_t>{300}));
  // Only single-thread compute figures: they stand in for all threads.
  ASSERT_EQ(roofs.computeRoofs(da::IRooflineInfo::AllThreads).size(), 1u);
}

TEST(RoofInterpolatorTest, ChoosesOrEstimatesTheComputeRoofOfTheCode) {
  const auto interpolator = data_models2::createRoofInterpolator(avx512(), items(machineRoofs()));
  ASSERT_EQ(interpolator->getVectorLanes(), 8);
  struct Case {
    const char* what;
    CodeKind code;
    std::uint64_t value;
    std::string name;
    std::uint64_t bits;
  };
  const Case cases[] = {
      {"unknown float code: the highest float peak", {F, false, false, false}, 76800000000, "DP Vector FMA Peak",
       2 | 16 | 32},
      {"vector FMA: exact", {F, true, true, true}, 76800000000, "DP Vector FMA Peak", 2 | 16 | 32},
      {"vector add: half the FMA peak", {F, true, true, false}, 38400000000, "DP Vector FMA Peak (estimated)", 2 | 16},
      {"scalar add: exact", {F, true, false, false}, 9600000000, "Scalar Add Peak", 2},
      {"scalar FMA: twice the scalar add", {F, true, false, true}, 19200000000, "Scalar Add Peak (estimated)", 2 | 32},
      {"mixed counts as float", {da::OperationsMixed, false, false, false}, 76800000000, "DP Vector FMA Peak",
       2 | 16 | 32},
      {"unknown int code", {I, false, false, false}, 40000000000, "Int Vector Add Peak", 2 | 4 | 16},
      {"scalar int: the vector peak over the lanes", {I, true, false, false}, 5000000000,
       "Int Vector Add Peak (estimated)", 2 | 4},
      {"vector int FMA: twice the vector add", {I, true, true, true}, 80000000000, "Int Vector Add Peak (estimated)",
       2 | 4 | 16 | 32},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    RoofItem roof;
    ASSERT_TRUE(interpolator->getComputeRoof(c.code, da::IRooflineInfo::AllThreads, roof));
    EXPECT_EQ(roof.value, c.value);
    EXPECT_EQ(roof.name, c.name);
    EXPECT_EQ(roof.secondWord, c.bits);
  }
}

TEST(RoofInterpolatorTest, LanesComeFromTheMachineAndMissingKindsStandIn) {
  struct Case {
    da::sptr_t<da::IResultController> controller;
    int lanes;
  };
  const Case cases[] = {
      {nullptr, 1},
      {avx512(), 8},
      {foundation::pool_allocate<Controller, da::IResultController>(0, 10), 4},  // from the AVX2 level
      {foundation::pool_allocate<Controller, da::IResultController>(0, 0), 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(data_models2::createRoofInterpolator(c.controller, items({}))->getVectorLanes(), c.lanes);
  }

  // Only floating-point peaks: integer code is set against them.
  auto floatOnly = data_models2::createRoofInterpolator(avx512(), items({{"DP Vector FMA Peak", 64, 2 | 16 | 32}}));
  RoofItem roof;
  ASSERT_TRUE(floatOnly->getComputeRoof({I, true, false, false}, da::IRooflineInfo::AllThreads, roof));
  EXPECT_EQ(roof.value, 4u);  // 64 / 2 / 8 lanes
  EXPECT_EQ(roof.secondWord, 2u);

  auto memoryOnly = data_models2::createRoofInterpolator(avx512(), items({{"DRAM Bandwidth", 10, 1}}));
  roof = RoofItem{"untouched", 7, 0};
  EXPECT_FALSE(memoryOnly->getComputeRoof({}, da::IRooflineInfo::AllThreads, roof));
  EXPECT_EQ(roof.name, "untouched");
  EXPECT_EQ(memoryOnly->getMemoryRoofs(da::IRooflineInfo::AllThreads).size(), 1u);
}

TEST(RooflineRowInfoTest, PointFromOwnFiguresOrTotals) {
  struct Case {
    const char* what;
    da::RowRoofline figures;
    double selfTime, totalTime;
    bool valid;
    double ai, performance;
  };
  const Case cases[] = {
      {"own figures over self time", {2 * B, B, 0, 0, 0, false}, 2.0, 8.0, true, 2.0, 1 * G},
      {"totals over total time", {2 * B, B, 6 * B, 2 * B, 0, true}, 2.0, 3.0, true, 3.0, 2 * G},
      {"call stacks without totals keep the own figures", {2 * B, B, 0, 0, 0, true}, 2.0, 3.0, true, 2.0, 1 * G},
      {"totals are not read without call stacks", {2 * B, B, 6 * B, 2 * B, 0, false}, 2.0, 3.0, true, 2.0, 1 * G},
      {"no bytes", {2 * B, 0, 0, 0, 0, false}, 2.0, 2.0, false, 0.0, 0.0},
      {"no operations", {0, 1000, 0, 0, 0, false}, 2.0, 2.0, false, 0.0, 0.0},
      {"no time", {2 * B, B, 0, 0, 0, false}, 1e-12, 2.0, false, 0.0, 0.0},
  };
  const da::row_t row = da::fakes::lonelyRow();
  const auto interpolator = data_models2::createRoofInterpolator(avx512(), items(machineRoofs()));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto dataset = foundation::pool_allocate<Dataset>();
    dataset->figures = c.figures;
    dataset->fields[da::SelfTime] = variant_t(c.selfTime);
    dataset->fields[da::TotalTime] = variant_t(c.totalTime);
    const auto info = data_models2::createRowRooflineInfo(row, dataset, interpolator, {});
    ASSERT_TRUE(info);
    EXPECT_EQ(info->isValid(), c.valid);
    EXPECT_EQ(info->hasCallStacks(), c.figures.hasCallStacks);
    EXPECT_DOUBLE_EQ(info->getPoint().ai, c.ai);
    EXPECT_DOUBLE_EQ(info->getPoint().performance, c.performance);
  }
}

TEST(RooflineRowInfoTest, RoofsLimitAndMissingInputs) {
  const da::row_t row = da::fakes::lonelyRow();
  auto dataset = foundation::pool_allocate<Dataset>();
  dataset->figures = {100000000, 1000000000, 0, 0, 1, false};  // integer, ai 0.1
  dataset->fields[da::SelfTime] = variant_t(std::int64_t(1));   // an integer time reads too
  // A scalar integer mix: no vector memory, no FMA.
  const da::InstructionMix scalar = {{1, variant_t(4)}, {5, variant_t(2)}};
  const auto info = data_models2::createRowRooflineInfo(
      row, dataset, data_models2::createRoofInterpolator(avx512(), items(machineRoofs())), scalar);
  ASSERT_TRUE(info && info->isValid());
  EXPECT_EQ(info->getPoint().operationsType, da::OperationsInt);
  std::vector<RoofItem> memory;
  RoofItem compute;
  info->getRoofs(memory, compute);
  ASSERT_EQ(memory.size(), 4u);
  EXPECT_EQ(memory.front().name, "DRAM Bandwidth");
  EXPECT_EQ(memory.back().name, "L1 Bandwidth");
  EXPECT_EQ(compute.value, 5000000000u);
  // 0.1 GOPS at 0.1 op/byte: below the DRAM roof's 2.56 GOPS.
  EXPECT_EQ(info->getLimitingRoof().type, LimitingRoof::BelowDram);
  EXPECT_DOUBLE_EQ(info->getLimitingRoof().height, 2.56 * G);

  EXPECT_FALSE(data_models2::createRowRooflineInfo(nullptr, dataset, nullptr, {}));
  // No roofs of one kind or the other: no position worth a zone.
  for (std::vector<RoofItem> roofs : {std::vector<RoofItem>{{"DRAM Bandwidth", 10, 1}},
                                      std::vector<RoofItem>{{"Peak", 10, 2}}}) {
    auto partial = data_models2::createRoofInterpolator(nullptr, items(roofs));
    EXPECT_FALSE(data_models2::createRowRooflineInfo(row, dataset, partial, {})->isValid());
  }
  dataset->hasFigures = false;
  const auto none =
      data_models2::createRowRooflineInfo(row, dataset, data_models2::createRoofInterpolator(nullptr, items({})), {});
  EXPECT_FALSE(none->isValid());
  EXPECT_EQ(none->getLimitingRoof().type, LimitingRoof::AboveRoofs);
}

TEST(RooflineRowInfoTest, LimitingRoofIsTheLowestAboveThePoint) {
  const std::vector<RoofItem> named = {
      {"DRAM Bandwidth", 25600000000, 1}, {"L3 Bandwidth", 153600000000, 1}, {"L1 Bandwidth", 1228800000000, 1}};
  const std::vector<RoofItem> cachesOnly = {{"L3 Bandwidth", 153600000000, 1}, {"L1 Bandwidth", 1228800000000, 1}};
  const std::vector<RoofItem> unnamed = {{"slow", 25600000000, 1}, {"fast", 1228800000000, 1}};
  const RoofItem peak{"Peak", 76800000000, 2};
  struct Case {
    const char* what;
    const std::vector<RoofItem>* roofs;
    double ai, performance;
    LimitingRoof::Type type;
    const char* roof;
  };
  const Case cases[] = {
      {"under DRAM", &named, 0.1, 1 * G, LimitingRoof::BelowDram, "DRAM Bandwidth"},
      {"exactly on DRAM: held by it", &named, 0.1, 2.56 * G, LimitingRoof::BelowDram, "DRAM Bandwidth"},
      {"between DRAM and L3", &named, 0.1, 5 * G, LimitingRoof::Cache, "L3 Bandwidth"},
      {"L1 is past its ridge here: the compute roof", &named, 0.1, 20 * G, LimitingRoof::Compute, "Peak"},
      {"right of every ridge", &named, 10.0, 1 * G, LimitingRoof::Compute, "Peak"},
      {"on the DRAM ridge the compute roof holds", &named, 3.0, 1 * G, LimitingRoof::Compute, "Peak"},
      {"above every roof", &named, 10.0, 100 * G, LimitingRoof::AboveRoofs, ""},
      {"the slowest roof is a cache", &cachesOnly, 0.1, 1 * G, LimitingRoof::Cache, "L3 Bandwidth"},
      {"unnamed: the slowest counts as DRAM", &unnamed, 0.1, 1 * G, LimitingRoof::BelowDram, "slow"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const LimitingRoof limit = data_models2::findLimitingRoof({c.ai, da::OperationsFloat, c.performance}, *c.roofs, peak);
    EXPECT_EQ(limit.type, c.type);
    EXPECT_EQ(limit.roof.name, c.roof);
  }
}

TEST(RooflineRowInfoTest, CodeKindOfTheMix) {
  struct Case {
    da::InstructionMix mix;
    bool known, vector, fma;
  };
  const Case cases[] = {
      {{}, false, false, false},
      {{{1, variant_t(4)}, {5, variant_t(2)}}, true, false, false},
      {{{1, variant_t(4)}, {5, variant_t(2)}, {30, variant_t(1)}}, true, true, false},
      // FMA when twice their count is above the compute instructions.
      {{{1, variant_t(2)}, {45, variant_t(2)}, {74, variant_t(3)}}, true, false, true},
      {{{1, variant_t(2)}, {45, variant_t(2)}, {74, variant_t(2)}}, true, false, false},
      // A count that is not an integer is no count.
      {{{26, variant_t(5.0)}, {74, variant_t("9")}}, true, false, false},
  };
  for (const Case& c : cases) {
    const CodeKind code = data_models2::codeKindOfMix(c.mix, da::OperationsFloat);
    EXPECT_EQ(code.known, c.known);
    EXPECT_EQ(code.vector, c.vector);
    EXPECT_EQ(code.fma, c.fma);
  }
}

}  // namespace
