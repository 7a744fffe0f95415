// The roofline guidance: zones, the mix reading, the parameters it gives,
// and how it ranks the other issues of a row by zone.

#include "discmodels2/recommendations_model/roofline/issue_roofline_guidance.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/messages/translation.h"
#include "tests/discmodels2/recommendations_model/traits/trait_test_support.h"
#include "tests/support/expected_assertions.h"

namespace {

using namespace test_fakes;
using data_models2::CommonData;
using data_models2::IDataProvider;
using data_models2::issues::IssueList;
using data_models2::issues::IssueRooflineGuidance;
using system_info::SystemInfo;
using trait_tests::RecordProvider;
using Zone = IssueRooflineGuidance::Zone;
using I = IIssueEx;
using R = IRecommendation;

constexpr double G = 1e9;

class RooflineDataset : public FakeDataset {
 public:
  RooflineDataset() : FakeDataset(BottomUp) {}
  bool getRowRoofline(const row_t& row, RowRoofline& out) const override {
    auto it = figures.find(row.get());
    if (it == figures.end()) return false;
    out = it->second;
    return true;
  }
  std::map<const void*, RowRoofline> figures;
};

// The example machine. Detector tests give rows no mix unless they mean to,
// so the peak is the vector FMA one: ridges at 0.0625 (L1) and 3.0 (DRAM).
std::vector<RoofItem> machineRoofs() {
  return {{"L1 Bandwidth", 1228800000000, 1},  {"L2 Bandwidth", 409600000000, 1},
          {"L3 Bandwidth", 153600000000, 1},   {"DRAM Bandwidth", 25600000000, 1},
          {"DP Vector FMA Peak", 76800000000, 2 | 16 | 32}, {"Scalar Add Peak", 9600000000, 2}};
}

std::vector<IIssueEx::IssueId> allIssueIds() {
  return {
#define NIMB_ISSUE(value, name, text) IIssueEx::name,
#include "data_abstractions2/issue_ids.def"
#undef NIMB_ISSUE
  };
}

float impactOf(const sptr_t<IIssueEx>& issue) {
  float value = -1.0f;
  issue->getValue(IRecommendationBase::rooflineImpactId(), value);
  return value;
}

// The value under the empty key of the bag `key`, as the guidance stores it.
const variant_t* bagValue(const variant_bag_t& bag, const char* key) {
  const variant_bag_t* sub = bag.get_bag(key);
  return sub ? sub->get("") : nullptr;
}
std::int64_t bagInt(const variant_bag_t& bag, const char* key) {
  return bagValue(bag, key) ? bagValue(bag, key)->as_i64() : -1;
}
std::string bagText(const variant_bag_t& bag, const char* key) {
  return bagValue(bag, key) ? bagValue(bag, key)->text() : "<absent>";
}

std::vector<std::string> recommendationIds(const sptr_t<IIssueEx>& issue) {
  std::vector<std::string> ids;
  for (auto it = issue->getRecommendations(); !it.at_end(); it.next()) ids.push_back(it.current()->getStringId());
  return ids;
}

sptr_t<IRecommendation> lastRecommendation(const sptr_t<IIssueEx>& issue) {
  sptr_t<IRecommendation> last;
  for (auto it = issue->getRecommendations(); !it.at_end(); it.next()) last = it.current();
  return last;
}

std::string recId(R::RecommendationId id) { return R::getRecommendationStringId(id, false); }
sptr_t<IIssueEx> plainIssue(const std::string& id) { return createIssueEx(id, "t", "x", 1, 1, variant_bag_t()); }
sptr_t<IIssueEx> plainIssue(I::IssueId id) { return plainIssue(I::getIssueStringId(id)); }
IssueList noIssues() { return std::make_shared<std::vector<sptr_t<IIssueEx>>>(); }

class RooflineGuidanceTest : public ::testing::Test {
 protected:
  void SetUp() override { data_models2::issues::setCatalogForTesting(nullptr); }
  void TearDown() override { data_models2::issues::clearCatalogForTesting(); }

  IssueRooflineGuidance detector(std::vector<RoofItem> roofs = machineRoofs(),
                                 SystemInfo::IsaExtensions maxIsa = SystemInfo::IsaAvx512) {
    return IssueRooflineGuidance(
        provider, maxIsa, dataset,
        data_models2::createRoofInterpolator(nullptr, generic_iterator_t<RoofItem>(std::move(roofs))));
  }

  /// A loop row with a position: `ai` and `performance` give its figures
  /// over one second of self time.
  sptr_t<FakeRow> loop(double ai, double performance, bool callStacks = false) {
    auto row = makeRow(next++, IMetadata::TypeLoop | IMetadata::TypeInnermost);
    RowRoofline figures;
    figures.operations = static_cast<std::uint64_t>(performance);
    figures.bytes = static_cast<std::uint64_t>(performance / ai);
    figures.hasCallStacks = callStacks;
    dataset->figures[row.get()] = figures;
    dataset->set(row, SelfTime, variant_t(1.0));
    record(row).innerLoopCount = 0;
    return row;
  }
  CommonData& record(const sptr_t<FakeRow>& row) { return provider->records[row.get()]; }

  std::shared_ptr<RecordProvider> provider = std::make_shared<RecordProvider>();
  sptr_t<RooflineDataset> dataset = foundation::pool_allocate<RooflineDataset>();
  std::uint64_t next = 1;
};

TEST_F(RooflineGuidanceTest, ZonesSplitAtTheRidgesWhichCountAsMixed) {
  const IssueRooflineGuidance d = detector();
  const std::vector<RoofItem> memory = {{"DRAM", 25, 1}, {"L3", 100, 1}, {"L1", 1000, 1}};
  const RoofItem peak{"Peak", 500, 2};  // ridges: 0.5 (L1) and 20 (DRAM)
  const std::pair<double, Zone> cases[] = {
      {0.01, Zone::Memory}, {0.4999, Zone::Memory}, {0.5, Zone::Mixed}, {5.0, Zone::Mixed},
      {20.0, Zone::Mixed},  {20.001, Zone::Compute}, {1e6, Zone::Compute},
  };
  for (const auto& [ai, zone] : cases) EXPECT_EQ(d.defineZone({ai, OperationsFloat, 1.0}, memory, peak), zone) << ai;
}

TEST_F(RooflineGuidanceTest, InstructionMixInfo) {
  const IssueRooflineGuidance d = detector();
  struct Case {
    const char* what;
    InstructionMix mix;
    int vectorLength, mixKind;
    bool fma, scalarMemory;
  };
  using v = variant_t;
  const Case cases[] = {
      {"no mix", {}, 4, 3, false, false},
      {"memory dominates", {{5, v(7)}, {1, v(2)}}, 1, 0, false, true},
      {"exactly 0.4 is between", {{5, v(3)}, {1, v(2)}}, 1, 2, false, true},
      {"exactly 0.6 is between", {{5, v(2)}, {1, v(3)}}, 1, 2, false, true},
      {"compute dominates", {{5, v(1)}, {1, v(3)}}, 1, 1, false, true},
      // A compute instruction with a memory operand counts half: (0 + 4 / 2) / 5.
      {"mixed counts half", {{5, v(1)}, {45, v(4)}}, 1, 2, false, true},
      {"nothing counted leans neither way", {{5, v(0)}}, 1, 2, false, false},
      {"FMA above half the compute", {{1, v(3)}, {45, v(1)}, {74, v(3)}}, 1, 1, true, false},
      {"FMA at half is not dominant", {{1, v(3)}, {45, v(1)}, {74, v(2)}}, 1, 1, false, false},
      // 4 vector of 6 memory instructions: 4 < 2 * 4 at length 4, not at length 2.
      {"scalar memory weighted by length", {{5, v(6)}, {26, v(3)}, {29, v(1)}}, 4, 0, false, true},
      {"vector memory wins at length 2", {{5, v(6)}, {26, v(3)}, {29, v(1)}}, 2, 0, false, false},
      {"non-integer counts are 0", {{5, v(9.0)}, {1, v("3")}, {45, v(std::uint32_t(1))}}, 1, 2, false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const auto info = d.getInstructionMixInfo(c.mix, c.vectorLength);
    EXPECT_EQ(info.mixKind, c.mixKind);
    EXPECT_EQ(info.isFmaDominated, c.fma);
    EXPECT_EQ(info.scalarMemInstructions, c.scalarMemory);
  }
}

TEST_F(RooflineGuidanceTest, TraitsLeaveOutMultiplyAddExtensions) {
  const std::pair<const char*, const char*> cases[] = {
      {"AVX; AVX2; Type Conversions", "AVX, AVX2, Type Conversions"},
      {"FMA; AVX2;IFMA", "AVX2"},
      {"FMA; QFMA; VNNI; QVNNI; IFMA", ""},
      {"AVX2; ", "AVX2"},
      {"fma", "fma"},  // the set is compared case and all
      {"", ""},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(IssueRooflineGuidance::formatTraits(in), out) << in;
}

TEST_F(RooflineGuidanceTest, IssueParametersNameZoneAndOperations) {
  const IssueRooflineGuidance d = detector();
  struct Case {
    Zone zone;
    OperationsType type;
    const char *zoneText, *typeText;
    unsigned assertions;
  };
  const Case cases[] = {
      {Zone::Memory, OperationsFloat, "mem", "float", 0},
      {Zone::Mixed, OperationsInt, "mix", "int", 0},
      {Zone::Compute, OperationsMixed, "comp", "", 1},
  };
  for (const Case& c : cases) {
    test_support::ExpectedAssertions assertions;
    const variant_bag_t bag = d.createIssueParams(true, c.zone, c.type);
    EXPECT_EQ(bag.get("zone")->text(), c.zoneText);
    EXPECT_EQ(bag.get("ops_type")->text(), c.typeText);
    EXPECT_EQ(bagInt(bag, "is_vectorized"), 1);
    EXPECT_EQ(assertions.fired(), c.assertions);
  }
}

TEST_F(RooflineGuidanceTest, RanksOtherIssuesByZone) {
  const IssueRooflineGuidance d = detector();
  using Impacts = std::map<I::IssueId, float>;
  auto with = [](Impacts impacts, std::initializer_list<I::IssueId> ids, float impact) {
    for (auto id : ids) impacts[id] = impact;
    return impacts;
  };
  const Impacts memory = {{I::RegistersPressure, 0.5f}, {I::VectorFunctionAttributes, 0.5f},
                          {I::ExcessiveCaching, 1.0f},  {I::InefficientAccessPatterns, 1.0f},
                          {I::CheckAccessPatterns, 1.0f}};
  const Impacts belowDram = with(memory, {I::PeelRemainder, I::GatherScatter, I::CDI}, 2.0f);
  const Impacts scalarNearMemory =
      with(memory,
           {I::AssumedDependency, I::OpenMP, I::UserFunctions, I::ProvenDependency, I::PotentialVectorizability,
            I::NeedForSimd, I::FloatingPoint, I::SerializedUserFunctions},
           3.0f);
  const Impacts computeScalar =
      with({},
           {I::AssumedDependency, I::OpenMP, I::UserFunctions, I::VectorFunctionAttributes, I::ProvenDependency,
            I::PotentialVectorizability, I::NeedForSimd, I::FloatingPoint, I::SerializedUserFunctions},
           1.0f);
  const Impacts computeVector = with(with(computeScalar, {I::LoopMisalignment}, 0.5f),
                                     {I::FMA, I::Reciprocal, I::DIV, I::TypeConversions}, 1.0f);

  enum Fn { MemoryBound, MostlyMemory, ComputeBound, MostlyCompute };
  struct Case {
    const char* what;
    Fn fn;
    LimitingRoof::Type limiting;
    bool vectorized;
    const Impacts* expected;
    R::RecommendationId rec;
  };
  const Case cases[] = {
      {"memory, cache roof", MemoryBound, LimitingRoof::Cache, false, &memory, R::RooflineGuidanceMemoryBound},
      {"memory, below DRAM", MemoryBound, LimitingRoof::BelowDram, false, &belowDram, R::RooflineGuidanceMemoryBound},
      {"mostly memory, vector, below DRAM", MostlyMemory, LimitingRoof::BelowDram, true, &belowDram,
       R::RooflineGuidanceMostlyMemoryBound},
      {"mostly memory, scalar", MostlyMemory, LimitingRoof::Cache, false, &scalarNearMemory,
       R::RooflineGuidanceMostlyMemoryBound},
      {"compute, scalar", ComputeBound, LimitingRoof::Compute, false, &computeScalar, R::RooflineGuidanceComputeBound},
      {"compute, vector", ComputeBound, LimitingRoof::Compute, true, &computeVector, R::RooflineGuidanceComputeBound},
      {"mostly compute, vector", MostlyCompute, LimitingRoof::Compute, true, &computeVector,
       R::RooflineGuidanceMostlyComputeBound},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    IssueList issues = noIssues();
    for (I::IssueId id : allIssueIds()) issues->push_back(plainIssue(id));
    auto guidance = plainIssue("issue_roofline_guidance");
    const CommonData data;
    variant_bag_t bag;
    bag.put("marker", variant_t(7));
    switch (c.fn) {
      case MemoryBound: d.memoryBoundRecommendation(data, issues, guidance, bag, c.limiting, 2); break;
      case MostlyMemory:
        d.mostlyMemoryBoundRecommendation(data, issues, guidance, bag, c.limiting, 2, c.vectorized);
        break;
      case ComputeBound: d.computeBoundRecommendation(data, issues, guidance, bag, 2, c.vectorized); break;
      case MostlyCompute: d.mostlyComputeBoundRecommendation(data, issues, guidance, bag, 2, c.vectorized); break;
    }
    for (const auto& issue : *issues) {
      auto it = c.expected->find(I::getIssueIdByString(issue->getStringId()));
      EXPECT_EQ(impactOf(issue), it == c.expected->end() ? -1.0f : it->second) << issue->getStringId();
    }
    ASSERT_EQ(recommendationIds(guidance), std::vector<std::string>{recId(c.rec)});
    const auto rec = lastRecommendation(guidance);
    EXPECT_EQ(rec->getTitle(), std::string(R::getRecommendationStem(c.rec)) + "_title");
    EXPECT_EQ(rec->getConfidence(), 2);
    EXPECT_EQ(rec->getParameters(), bag);
  }
}

TEST_F(RooflineGuidanceTest, SetPrioritiesOverwritesListedAndKeepsTheRest) {
  const IssueRooflineGuidance d = detector();
  auto listed = plainIssue(I::FMA);
  auto other = plainIssue(I::SystemFunctions);
  other->setValue(IRecommendationBase::rooflineImpactId(), 7.0f);
  IssueList issues = std::make_shared<std::vector<sptr_t<IIssueEx>>>(std::vector<sptr_t<IIssueEx>>{listed, other});

  EXPECT_TRUE(d.setPriorities({I::FMA, I::DIV}, 1.0f, issues));
  EXPECT_TRUE(d.setPriorities({I::FMA}, 0.5f, issues));
  EXPECT_EQ(impactOf(listed), 0.5f);
  EXPECT_EQ(impactOf(other), 7.0f);
  EXPECT_FALSE(d.setPriorities({I::DIV}, 3.0f, issues));
  EXPECT_FALSE(d.setPriorities({I::FMA}, 3.0f, noIssues()));
  EXPECT_FALSE(d.setPriorities({I::FMA}, 3.0f, nullptr));
}

TEST_F(RooflineGuidanceTest, DetectChoosesTheRecommendationOfTheZone) {
  struct Case {
    const char* what;
    double ai, performance;
    InstructionMix mix;
    const char* zone;
    R::RecommendationId rec;
    int limiting;
  };
  // Vector FMA code either way, so the peak stays the vector FMA one.
  const InstructionMix memoryMix = {{5, variant_t(8)}, {26, variant_t(8)}, {1, variant_t(2)}, {74, variant_t(2)}};
  const InstructionMix computeMix = {{5, variant_t(2)}, {26, variant_t(2)}, {1, variant_t(8)}, {74, variant_t(8)}};
  const Case cases[] = {
      {"left of the L1 ridge", 0.01, 1 * G, {}, "mem", R::RooflineGuidanceMemoryBound, 1},
      {"right of the DRAM ridge", 10.0, 10 * G, {}, "comp", R::RooflineGuidanceComputeBound, 0},
      {"between, under DRAM, memory mix", 0.5, 1 * G, memoryMix, "mix", R::RooflineGuidanceMostlyMemoryBound, 3},
      {"between, no mix", 0.5, 1 * G, {}, "mix", R::RooflineGuidanceMostlyMemoryBound, 3},
      {"between, under DRAM, compute mix", 0.5, 1 * G, computeMix, "mix", R::RooflineGuidanceMostlyComputeBound, 3},
      {"between, held by the compute roof", 1.0, 50 * G, memoryMix, "mix", R::RooflineGuidanceMostlyComputeBound, 0},
  };
  const IssueRooflineGuidance d = detector();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto row = loop(c.ai, c.performance);
    record(row).instructionMix = c.mix;
    IssueList issues = noIssues();
    ASSERT_TRUE(d.detect(row, issues));
    ASSERT_EQ(issues->size(), 1u);
    const auto& issue = issues->front();
    EXPECT_EQ(issue->getStringId(), "issue_roofline_guidance");
    EXPECT_EQ(issue->getFlags(), 0x101u | data_models2::issues::getLangFlag(false));
    EXPECT_EQ(issue->getParameters().get("zone")->text(), c.zone);
    EXPECT_EQ(recommendationIds(issue), std::vector<std::string>{recId(c.rec)});
    EXPECT_EQ(bagInt(lastRecommendation(issue)->getParameters(), "limiting_roof"), c.limiting);
  }
}

TEST_F(RooflineGuidanceTest, OuterLoopsWithoutCallStacksAskForThemAndLoseConfidence) {
  struct Case {
    const char* what;
    std::uint64_t innerLoops;
    bool split, callStacks, asks;
  };
  const Case cases[] = {
      {"innermost", 0, false, false, false},
      {"outer without call stacks", 2, false, false, true},
      {"one inner loop", 1, false, false, true},
      {"the one child of a split loop is a part", 1, true, false, false},
      {"outer with call stacks", 2, false, true, false},
  };
  const IssueRooflineGuidance d = detector();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto row = loop(10.0, 10 * G, c.callStacks);
    record(row).innerLoopCount = c.innerLoops;
    record(row).isSplitLoop = c.split;
    IssueList issues = noIssues();
    ASSERT_TRUE(d.detect(row, issues));
    const auto& issue = issues->front();
    std::vector<std::string> expected;
    if (c.asks) expected.push_back(recId(R::RooflineGuidanceCollectCallstacks));
    expected.push_back(recId(R::RooflineGuidanceComputeBound));
    EXPECT_EQ(recommendationIds(issue), expected);
    // The first recommendation keeps its confidence; the zone's loses one.
    EXPECT_EQ(issue->getRecommendations().current()->getConfidence(), 2);
    EXPECT_EQ(lastRecommendation(issue)->getConfidence(), c.asks ? 1 : 2);
  }
}

TEST_F(RooflineGuidanceTest, RecommendationParameters) {
  const IssueRooflineGuidance d = detector();
  auto parent = makeRow(100, IMetadata::TypeLoop | IMetadata::TypeSplitLoop | 256);
  auto part = loop(10.0, 10 * G);
  parent->addChild(part);
  CommonData& data = record(part);
  data.isVectorized = false;
  data.isaType = SystemInfo::IsaAvx2;
  data.instructionSets = "FMA; AVX2";
  data.vectorLength = 4;
  data.vectorEfficiency = 20.0;
  data.fieldPresence[VectorEfficiency] = true;

  IssueList issues = noIssues();
  issues->push_back(plainIssue(I::CheckAccessPatterns));
  ASSERT_TRUE(d.detect(part, issues));
  const auto& issue = issues->back();
  const variant_bag_t& bag = lastRecommendation(issue)->getParameters();
  // The part of a split loop marked 256 runs vector code; the issue still
  // reports the record.
  EXPECT_EQ(bagInt(bag, "is_vectorized"), 1);
  EXPECT_EQ(bagInt(issue->getParameters(), "is_vectorized"), 0);
  EXPECT_EQ(bagText(bag, "current_isa"), "AVX2");
  EXPECT_EQ(bagText(bag, "best_isa"), "AVX-512F");
  EXPECT_EQ(bagText(bag, "traits"), "AVX2");
  EXPECT_EQ(bagInt(bag, "inefficient_map"), 1);
  EXPECT_EQ(bagInt(bag, "low_vector_efficiency"), 1);  // 4 * 20 < 100
  EXPECT_EQ(bagInt(bag, "is_fma_dominated"), 0);
  EXPECT_EQ(bagInt(bag, "scalar_mem_instructions"), 0);
  std::vector<std::string> keys;
  for (const auto& [key, sub] : bag.bags()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"is_vectorized", "limiting_roof", "is_fma_dominated",
                                             "scalar_mem_instructions", "current_isa", "best_isa", "traits",
                                             "inefficient_map", "low_vector_efficiency"}));

  // At the best level, without instruction sets worth naming, efficiency
  // unknown, and under a parent that is no split loop.
  auto plain = loop(10.0, 10 * G);
  record(plain).isaType = SystemInfo::IsaAvx512;
  record(plain).instructionSets = "FMA; VNNI";
  record(plain).vectorLength = 4;
  record(plain).vectorEfficiency = 1.0;
  issues->clear();
  ASSERT_TRUE(d.detect(plain, issues));
  const variant_bag_t& plainBag = lastRecommendation(issues->back())->getParameters();
  for (const char* absent : {"current_isa", "best_isa", "traits"}) EXPECT_EQ(plainBag.get_bag(absent), nullptr);
  for (const char* zero : {"inefficient_map", "low_vector_efficiency", "is_vectorized"}) {
    EXPECT_EQ(bagInt(plainBag, zero), 0) << zero;
  }
}

TEST_F(RooflineGuidanceTest, RowsWithoutAPositionGetNothing) {
  IssueList issues = noIssues();
  EXPECT_FALSE(detector().detect(makeRow(50), issues));
  auto idle = loop(1.0, 1 * G);
  dataset->set(idle, SelfTime, variant_t(0.0));
  EXPECT_FALSE(detector().detect(idle, issues));
  EXPECT_FALSE(detector({{"DRAM Bandwidth", 10, 1}}).detect(loop(1.0, 1 * G), issues));
  EXPECT_FALSE(detector().detect(nullptr, issues));
  EXPECT_TRUE(issues->empty());
}

}  // namespace
