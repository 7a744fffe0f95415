// The trait detectors on prepared records: which traits a record gets, on
// which columns and with which texts. Texts are the keys (the test
// catalogue lacks them) except where arguments matter.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/messages/translation.h"
#include "discmodels2/recommendations_model/traits/trait_horizontal.h"
#include "discmodels2/recommendations_model/traits/trait_indirect_calls.h"
#include "discmodels2/recommendations_model/traits/trait_low_granularity.h"
#include "discmodels2/recommendations_model/traits/trait_low_trip_counts.h"
#include "discmodels2/recommendations_model/traits/trait_masked_stores.h"
#include "discmodels2/recommendations_model/traits/trait_overridden_vl.h"
#include "discmodels2/recommendations_model/traits/trait_peel_remainder.h"
#include "discmodels2/recommendations_model/traits/trait_reciprocals.h"
#include "discmodels2/recommendations_model/traits/trait_small_vector_width.h"
#include "discmodels2/recommendations_model/traits/trait_system_calls.h"
#include "tests/discmodels2/recommendations_model/traits/trait_test_support.h"

namespace {

using namespace trait_tests;
using namespace data_models2::issues;
using S = system_info::SystemInfo;

class TraitTest : public testing::Test {
 protected:
  void SetUp() override {
    setCatalogForTesting(std::make_shared<portability::catalog_t>(
        "t", std::map<std::string, std::string>{{"overridden_vl_trait_header", "H"},
                                                {"overridden_vl_trait_text", "%1|%2|%3"}}));
  }
  void TearDown() override { clearCatalogForTesting(); }

  std::shared_ptr<RecordProvider> provider = std::make_shared<RecordProvider>();
  sptr_t<FakeRow> row = makeRow(1);
};

using Tweak = void (*)(CommonData&);
using MakeDetector = std::shared_ptr<TraitDetector> (*)(std::shared_ptr<IDataProvider>);

template <class T>
std::shared_ptr<TraitDetector> make(std::shared_ptr<IDataProvider> provider) {
  return std::make_shared<T>(std::move(provider));
}

std::shared_ptr<TraitDetector> makeReciprocalsOn11(std::shared_ptr<IDataProvider> provider) {
  return std::make_shared<TraitReciprocals>(std::move(provider), S::IsaAvx512);
}

const std::string kMasked = "masked_stores_trait_text\nmasked_stores_trait_suggestion";
const std::string kHorizontal = "horizontal_trait_text\nhorizontal_trait_suggestion";
const std::string kReciprocal = "reciprocal_operations_trait_text\nreciprocal_operations_trait_suggestion";

TEST_F(TraitTest, NoRowOrNoProviderMakesNothing) {
  std::shared_ptr<TraitDetector> all[] = {
      std::make_shared<TraitMaskedStores>(nullptr),     std::make_shared<TraitHorizontal>(nullptr),
      std::make_shared<TraitSmallVectorWidth>(nullptr), std::make_shared<TraitLowTripCounts>(nullptr),
      std::make_shared<TraitLowGranularity>(nullptr),   std::make_shared<TraitPeelRemainder>(nullptr),
      std::make_shared<TraitReciprocals>(nullptr, S::IsaAvx512),
      std::make_shared<TraitOverriddenVL>(nullptr),     std::make_shared<TraitSystemCalls>(nullptr),
      std::make_shared<TraitIndirectCalls>(nullptr),
  };
  for (const auto& detector : all) {
    bool agreed = false;
    EXPECT_TRUE(run(*detector, row, &agreed).empty());
    EXPECT_TRUE(agreed);
  }
  EXPECT_TRUE(run(TraitSystemCalls(provider), row_t()).empty());
}

// ---- Traits decided by the loop's instruction classes.

// One case: a detector, a change to a loop's record, the traits it makes.
struct TraitCase {
  const char* name;
  MakeDetector detector;
  Tweak tweak;
  std::vector<Made> expected;
};

void vectorized(CommonData& d, const char* isa, S::IsaExtensions type, const char* classes, bool marked = false) {
  d.isVectorized = true;
  d.isaName = isa;
  d.isaType = type;
  d.instructionSets = classes;
  d.typeFlag1024 = marked;
}

const TraitCase kClassCases[] = {
    {"MaskedStoresFound", make<TraitMaskedStores>,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "AVX; AVX2; Masked Stores"); }, {{1, 44, kMasked}}},
    {"MaskedStoresAnyCaseAndBlanks", make<TraitMaskedStores>,
     [](CommonData& d) { vectorized(d, "avx512", S::IsaAvx512, "avx512 ;  masked stores "); }, {{1, 44, kMasked}}},
    {"MaskedStoresOnlyAsAWholeEntry", make<TraitMaskedStores>,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "AVX2; Masked Stores Emulated"); }, {}},
    {"MaskedStoresNotInScalarLoops", make<TraitMaskedStores>,
     [](CommonData& d) { d.instructionSets = "Masked Stores"; }, {}},
    {"MaskedStoresNotOnMarkedRows", make<TraitMaskedStores>,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "Masked Stores", true); }, {}},
    {"HorizontalFound", make<TraitHorizontal>,
     [](CommonData& d) { vectorized(d, "avx", S::IsaAvx, "AVX; Horizontal Operations"); }, {{2, 44, kHorizontal}}},
    // The record's names are lowered, so a lowered SSE name passes the
    // capital "SSE" test, and only a name in capitals stops it.
    {"HorizontalOnLoweredSseName", make<TraitHorizontal>,
     [](CommonData& d) { vectorized(d, "sse4.2", S::IsaSse42, "SSE4.2; Horizontal Operations"); },
     {{2, 44, kHorizontal}}},
    {"HorizontalNotWithSseInCapitals", make<TraitHorizontal>,
     [](CommonData& d) { vectorized(d, "SSE4.2", S::IsaSse42, "Horizontal Operations"); }, {}},
    {"HorizontalNeedsItsOwnClass", make<TraitHorizontal>,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "Masked Stores; Divisions"); }, {}},
    {"ReciprocalsForDivisions", makeReciprocalsOn11,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "AVX2; Divisions"); }, {{10, 44, kReciprocal}}},
    {"ReciprocalsForSquareRoots", makeReciprocalsOn11,
     [](CommonData& d) { vectorized(d, "sse2", S::IsaSse2, "SSE2; Square Roots"); }, {{10, 44, kReciprocal}}},
    // Marked rows are not spared by this one trait.
    {"ReciprocalsEvenOnMarkedRows", makeReciprocalsOn11,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "Divisions", true); }, {{10, 44, kReciprocal}}},
    {"ReciprocalsNotForAvx512Code", makeReciprocalsOn11,
     [](CommonData& d) { vectorized(d, "avx512", S::IsaAvx512, "Divisions"); }, {}},
    {"ReciprocalsNeedTheirClasses", makeReciprocalsOn11,
     [](CommonData& d) { vectorized(d, "avx2", S::IsaAvx2, "AVX2; Gathers"); }, {}},
};

class RecordTraits : public TraitTest, public testing::WithParamInterface<TraitCase> {};

TEST_P(RecordTraits, MadeFromTheRecord) {
  const TraitCase& c = GetParam();
  CommonData data = loopRecord();
  c.tweak(data);
  provider->records[row.get()] = data;
  bool agreed = false;
  EXPECT_EQ(run(*c.detector(provider), row, &agreed), c.expected);
  EXPECT_TRUE(agreed);
}

const auto kCaseName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Classes, RecordTraits, testing::ValuesIn(kClassCases), kCaseName);

TEST_F(TraitTest, ReciprocalsOnlyOnTheCommonAvx512Level) {
  CommonData data = loopRecord();
  vectorized(data, "avx2", S::IsaAvx2, "Divisions");
  provider->records[row.get()] = data;
  for (auto level : {S::IsaNone, S::IsaAvx2, S::IsaAvx512ManyCore, S::IsaAvx512Core, S::IsaAvx512Vnni}) {
    EXPECT_TRUE(run(TraitReciprocals(provider, level), row).empty()) << level;
  }
  EXPECT_EQ(run(TraitReciprocals(provider, S::IsaAvx512), row).size(), 1u);
}

// ---- Traits about vector widths and lengths.

void vectorBody(CommonData& d, const char* isa, const char* lengths, bool body = true) {
  d.isVectorized = true;
  d.isVectorBodyPart = body;
  d.isaName = isa;
  d.vectorLengthText = lengths;
}

void overridden(CommonData& d, const char* isa, int mainVectType, int flags = 4, bool vector = true) {
  d.isVectorized = vector;
  d.loopFlags55 = flags;
  d.isaName = isa;
  d.mainVectType = mainVectType;
}

const std::vector<Made> kSmall = {{3, 45, "small_vector_width_text"}};
const auto kOverridden = make<TraitOverriddenVL>;
const auto kWidth = make<TraitSmallVectorWidth>;

// Widths count elements of 32 bits: "4" is 128 bits, "8" 256.
const TraitCase kWidthCases[] = {
    {"Avx2WithANarrowVector", kWidth, [](CommonData& d) { vectorBody(d, "AVX2", "4"); }, kSmall},
    {"Avx2NarrowestCounts", kWidth, [](CommonData& d) { vectorBody(d, "AVX2", "8;4"); }, kSmall},
    {"Avx2AllWide", kWidth, [](CommonData& d) { vectorBody(d, "AVX2", "8;16"); }, {}},
    {"AvxWithOneWideVector", kWidth, [](CommonData& d) { vectorBody(d, "AVX", "4;8"); }, {}},
    {"AvxAllNarrow", kWidth, [](CommonData& d) { vectorBody(d, "AVX", "2;4"); }, kSmall},
    {"SseNeverNarrow", kWidth, [](CommonData& d) { vectorBody(d, "SSE4.2", "4"); }, {}},
    // Names as the record holds them, lowered, never match.
    {"LoweredNamesNeverMatch", kWidth, [](CommonData& d) { vectorBody(d, "avx2", "4"); }, {}},
    {"OnlyVectorBodies", kWidth, [](CommonData& d) { vectorBody(d, "AVX2", "4", false); }, {}},
    {"OverriddenWithoutTypeIsTheHeader", kOverridden, [](CommonData& d) { overridden(d, "avx2", 0); }, {{12, 35, "H"}}},
    {"OverriddenFloat32OnAvx2", kOverridden, [](CommonData& d) { overridden(d, "avx2", 5); },
     {{12, 35, "H\n8|Float32|avx2"}}},
    // Integers on AVX would get half a vector, but only for a name in
    // capitals, which the record never holds.
    {"OverriddenIntOnLoweredAvx", kOverridden, [](CommonData& d) { overridden(d, "avx", 3); },
     {{12, 35, "H\n8|Int32|avx"}}},
    {"OverriddenIntOnAvxInCapitals", kOverridden, [](CommonData& d) { overridden(d, "AVX", 3); },
     {{12, 35, "H\n4|Int32|AVX"}}},
    {"OverriddenUnknownIsa", kOverridden, [](CommonData& d) { overridden(d, "", 5); }, {{12, 35, "H"}}},
    {"OverriddenUnknownType", kOverridden, [](CommonData& d) { overridden(d, "avx2", 42); }, {{12, 35, "H"}}},
    {"OverriddenOtherFlagBits", kOverridden, [](CommonData& d) { overridden(d, "avx2", 5, 4 | 16 | 1); },
     {{12, 35, "H\n8|Float32|avx2"}}},
    {"NotOverriddenWithoutTheFlag", kOverridden, [](CommonData& d) { overridden(d, "avx2", 5, 16 | 8 | 2 | 1); }, {}},
    {"NotOverriddenWhenScalar", kOverridden, [](CommonData& d) { overridden(d, "avx2", 5, 4, false); }, {}},
};

INSTANTIATE_TEST_SUITE_P(Widths, RecordTraits, testing::ValuesIn(kWidthCases), kCaseName);

// ---- Traits of hot loops: trip counts, granularity, peel and remainder.

const std::vector<Made> kLowTrips = {{4, 142, "low_trip_counts_trait_text"}, {5, 135, "low_trip_counts_trait_text"}};
const std::vector<Made> kLowGranularity = {
    {6, 140, "low_granularity_trait_text"}, {7, 142, "low_granularity_trait_header\nlow_granularity_trait_text"}};

// The average trip count is `vectors` times the bytes one of the widest
// vectors of this machine holds, plus `extra`.
struct HotCase {
  const char* name;
  std::uint64_t vectors;
  std::int64_t extra;
  double totalTime;
  std::uint64_t calls;
  bool vectorized;
  double share;  // percent of the program's time
  bool topTenth;
  std::vector<Made> trips, granularity;
};

// 0.5 s over 1e8 entries: 5 ns each.
constexpr std::uint64_t k1e8 = 100000000;
const HotCase kHotCases[] = {
    {"NoIterations", 0, 0, 0.0, 0, false, 6.0, false, kLowTrips, {}},
    {"BelowOneVector", 1, -1, 0.0, 0, false, 6.0, false, kLowTrips, {}},
    {"ExactlyOneVector", 1, 0, 0.0, 0, false, 6.0, false, {}, {}},
    {"JustAboveOneVector", 1, 1, 0.0, 0, false, 6.0, false, kLowTrips, {}},
    {"JustBelowTwoVectors", 2, -1, 0.0, 0, false, 6.0, false, kLowTrips, {}},
    {"TwoVectors", 2, 0, 0.0, 0, false, 6.0, false, {}, {}},
    {"LowTripsButCold", 0, 3, 0.0, 0, false, 5.0, false, {}, {}},
    {"LowTripsHotByRank", 0, 3, 0.0, 0, false, 0.0, true, kLowTrips, {}},
    {"LowTripsVectorized", 0, 3, 0.0, 0, true, 6.0, false, {}, {}},
    {"ShortEntries", 4, 0, 0.5, k1e8, false, 11.0, false, {}, kLowGranularity},
    {"EntriesOfExactlyTenNanoseconds", 4, 0, 1.0, k1e8, false, 11.0, false, {}, {}},
    {"NoEntries", 4, 0, 0.5, 0, false, 11.0, false, {}, {}},
    // Granularity asks for twice the share that trip counts ask for.
    {"ShortEntriesHotOnlyForTripCounts", 0, 3, 0.5, k1e8, false, 8.0, false, kLowTrips, {}},
    {"ShortEntriesHotByRank", 0, 3, 0.5, k1e8, false, 0.0, true, kLowTrips, kLowGranularity},
};

class HotLoopTraits : public TraitTest, public testing::WithParamInterface<HotCase> {};

TEST_P(HotLoopTraits, MadeForHotScalarInnermostLoops) {
  const HotCase& c = GetParam();
  const std::uint64_t unit = static_cast<std::uint64_t>(S().getMaxVectorLength() / 8);
  if (unit < 4) GTEST_SKIP() << "this machine has no vector registers to measure trip counts by";
  CommonData data = loopRecord();
  data.tripCountAverage = c.vectors * unit + c.extra;
  data.totalTime = c.totalTime;
  data.callCount = c.calls;
  data.isVectorized = c.vectorized;
  provider->records[row.get()] = data;
  provider->share[row.get()] = c.share;
  if (c.topTenth) provider->topTenth[row.get()] = true;

  bool agreed = false;
  EXPECT_EQ(run(TraitLowTripCounts(provider), row, &agreed), c.trips);
  EXPECT_TRUE(agreed);
  EXPECT_EQ(run(TraitLowGranularity(provider), row, &agreed), c.granularity);
  EXPECT_TRUE(agreed);
}

INSTANTIATE_TEST_SUITE_P(Cases, HotLoopTraits, testing::ValuesIn(kHotCases), kCaseName);

struct Part {
  bool vectorBody, vectorized, peel, remainder;
  std::uint64_t trips;
  bool marked = false;
};

constexpr Part vectorPart(std::uint64_t trips) { return {true, true, false, false, trips}; }
constexpr Part remainderPart(std::uint64_t trips) { return {false, false, false, true, trips}; }
constexpr Part peelPart(std::uint64_t trips) { return {false, false, true, false, trips}; }

struct SplitCase {
  const char* name;
  bool made;
  std::vector<Part> parts;
  double share = 6.0;
  bool split = true;
};

const std::vector<Made> kPeelRemainder = {{8, 142, "peel_remainder_trait_text"},
                                          {9, 135, "peel_remainder_trait_text"}};

const SplitCase kSplitCases[] = {
    {"TwoVectorIterationsAndARemainder", true, {vectorPart(2), remainderPart(3)}},
    {"OneVectorIterationAndAPeel", true, {peelPart(7), vectorPart(1)}},
    {"NoVectorIterations", true, {vectorPart(0), remainderPart(1)}},
    {"TheShortestBodyCounts", true, {vectorPart(9), vectorPart(2), remainderPart(3)}},
    {"VectorizedPeelCounts", true, {vectorPart(2), {false, true, true, false, 5}}},
    // A non-vectorized body part is scalar overhead of its own only when it
    // is also a peel or remainder.
    {"ScalarRemainderMarkedAsBody", true, {vectorPart(2), {true, false, false, true, 5}}},
    {"ThreeVectorIterations", false, {vectorPart(3), remainderPart(3)}},
    {"EmptyRemainder", false, {vectorPart(2), remainderPart(0)}},
    // A vectorized remainder is a masked vector body, no scalar overhead.
    {"VectorizedRemainder", false, {vectorPart(2), {false, true, false, true, 5}}},
    {"NoVectorBody", false, {remainderPart(3), peelPart(2)}},
    {"ScalarBody", false, {{true, false, false, false, 1}, remainderPart(3)}},
    {"MarkedPartsAreSkipped", false, {{true, true, false, false, 1, true}, vectorPart(5), remainderPart(3)}},
    {"MarkedRemainderIsSkipped", false, {vectorPart(1), {false, false, false, true, 4, true}}},
    {"Cold", false, {vectorPart(2), remainderPart(3)}, 5.0},
    {"NotSplit", false, {vectorPart(2), remainderPart(3)}, 6.0, false},
};

class PeelRemainderTrait : public TraitTest, public testing::WithParamInterface<SplitCase> {};

TEST_P(PeelRemainderTrait, MadeWhenTheVectorBodyDoesLittle) {
  const SplitCase& c = GetParam();
  CommonData loop = loopRecord();
  loop.isVectorized = true;
  loop.isSplitLoop = c.split;
  provider->records[row.get()] = loop;
  provider->share[row.get()] = c.share;
  std::uint64_t id = 10;
  for (const Part& p : c.parts) {
    auto child = makeRow(id++, IMetadata::TypeLoop);
    row->addChild(child);
    CommonData d = loopRecord();
    d.isVectorBodyPart = p.vectorBody;
    d.isVectorized = p.vectorized;
    d.isPeelPart = p.peel;
    d.isRemainderPart = p.remainder;
    d.tripCountAverage = p.trips;
    d.typeFlag1024 = p.marked;
    provider->records[child.get()] = d;
  }
  bool agreed = false;
  EXPECT_EQ(run(TraitPeelRemainder(provider), row, &agreed), c.made ? kPeelRemainder : std::vector<Made>{});
  EXPECT_TRUE(agreed);
}

INSTANTIATE_TEST_SUITE_P(Cases, PeelRemainderTrait, testing::ValuesIn(kSplitCases), kCaseName);

// ---- Traits of what a loop calls.

TEST_F(TraitTest, SystemCallsFollowTheCallFacts) {
  CommonData data = loopRecord();
  provider->records[row.get()] = data;
  EXPECT_TRUE(run(TraitSystemCalls(provider), row).empty());

  // Any row that reaches a system function, loop or not, marked or not.
  data.callsSystemFunctions = true;
  data.isLoop = false;
  data.typeFlag1024 = true;
  provider->records[row.get()] = data;
  EXPECT_EQ(run(TraitSystemCalls(provider), row), (std::vector<Made>{{13, 0, "system_calls_trait_text"}}));
}

}  // namespace
