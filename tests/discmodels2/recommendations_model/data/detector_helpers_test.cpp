// The helpers detectors share: parameter bags, recommendation look-up, and
// the potential vectorization test.

#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"
#include "tests/discmodels2/recommendations_model/data/fake_result.h"

namespace {

using namespace test_fakes;
using data_models2::VBagHelper;
using namespace data_models2::issues;

TEST(VBagHelperTest, ValuesUnderTheEmptyKeyAndBoolsAsIntegers) {
  variant_bag_t bag;
  VBagHelper::addVariantBag(bag, "disclaimer", true);
  VBagHelper::addVariantBag(bag, "zone", "mem");
  VBagHelper::addVariantBag(bag, "vector_length", std::uint64_t{8});
  VBagHelper::addAttribute(bag, VBagHelper::VBagAttr<bool>("flag", false));

  ASSERT_NE(bag.get_bag("disclaimer"), nullptr);
  EXPECT_EQ(*bag.get_bag("disclaimer")->get(""), variant_t(1));
  EXPECT_EQ(*bag.get_bag("zone")->get(""), variant_t("mem"));
  EXPECT_EQ(*bag.get_bag("vector_length")->get(""), variant_t(std::uint64_t{8}));
  EXPECT_EQ(*bag.get("flag"), variant_t(0));
}

TEST(DetectorBagsTest, UserFunctionsList) {
  struct Case {
    std::set<std::string> names;
    std::vector<std::string> items;
  };
  const Case cases[] = {
      {{}, {}},
      {{"zeta", "alpha"}, {"alpha", "zeta"}},
  };
  for (const Case& c : cases) {
    variant_bag_t bag = createUserFunctionsBag(c.names);
    const variant_bag_t* list = bag.get_bag("user_functions");
    ASSERT_NE(list, nullptr);
    ASSERT_NE(list->get("arrayOf"), nullptr);
    EXPECT_EQ(*list->get("arrayOf"), variant_t("item"));
    std::vector<std::string> items;
    for (const auto& [key, item] : list->bags()) {
      EXPECT_EQ(key, "item");
      items.push_back(item.get("")->text());
    }
    EXPECT_EQ(items, c.items);
  }
}

TEST(DetectorBagsTest, DisclaimerByMissingAnalysis) {
  struct Case {
    int type;
    bool flag;
    const char* key;  // null: no disclaimer
  };
  const Case cases[] = {
      {5, true, "no_tripcounts_disclaimer"}, {3, false, "no_map_disclaimer"}, {2, true, "no_dependency_disclaimer"},
      {1, true, nullptr},                    {4, true, nullptr},              {0, false, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    variant_bag_t bag = createNoAnalysisDisclaimerBag(static_cast<IResultController::ResultType>(c.type), c.flag);
    if (!c.key) {
      EXPECT_TRUE(bag.empty());
      continue;
    }
    ASSERT_EQ(bag.bags().size(), 1u);
    EXPECT_EQ(bag.bags().front().first, c.key);
    EXPECT_EQ(*bag.bags().front().second.get(""), variant_t(c.flag ? 1 : 0));
  }
}

TEST(DetectorHelpersTest, RecommendationPresentByIdAndLanguage) {
  auto issue = createIssueEx("issue", "t", "x", 1, 0, variant_bag_t());
  const auto id = IRecommendation::TypeConversionsRecSmallest;
  EXPECT_FALSE(isRecommendationPresent(issue, id, false));
  issue->addRecommendation(createRecommendation(IRecommendation::getRecommendationStringId(id, true), "t", "x", 8,
                                                variant_bag_t(), 1, -1));
  EXPECT_TRUE(isRecommendationPresent(issue, id, true));
  EXPECT_FALSE(isRecommendationPresent(issue, id, false));
  EXPECT_FALSE(isRecommendationPresent(nullptr, id, true));
}

// A scalar innermost loop with a summary mix that is a candidate as it
// stands; each case changes one thing.
struct Candidate {
  std::int64_t total = 10, memory = 2, compute = 3, mixed = 1;
  IMetadata::type_t type = IMetadata::TypeLoop | IMetadata::TypeInnermost;
  bool vectorized = false;
  std::uint64_t innerLoops = 0;
  std::optional<FieldId> reasonAgainst = std::nullopt;
};

bool runCandidate(const Candidate& c) {
  FakeResult result;
  auto row = result.addRow(1, c.type);
  result.bottomUp->set(row, IsVectorized, variant_t(c.vectorized));
  result.bottomUp->set(row, InnerLoopCount, variant_t(c.innerLoops));
  if (c.reasonAgainst) result.bottomUp->set(row, *c.reasonAgainst, variant_t(true));
  result.model->mixes[MixSummary] = {
      {9, variant_t(c.total)}, {5, variant_t(c.memory)}, {1, variant_t(c.compute)}, {45, variant_t(c.mixed)}};
  std::shared_ptr<data_models2::IDataProvider> provider = result.provider();
  return isPotentialVectorized(row, provider, result.model);
}

TEST(DetectorHelpersTest, PotentialVectorizationCandidates) {
  const IMetadata::type_t innermost = IMetadata::TypeLoop | IMetadata::TypeInnermost;
  struct Case {
    const char* name;
    Candidate candidate;
    bool expected;
  };
  const Case cases[] = {
      {"plain compute loop", {}, true},
      {"vectorized", {.vectorized = true}, false},
      {"nested loop inside", {.innerLoops = 1}, false},
      {"not innermost", {.type = IMetadata::TypeLoop}, false},
      {"peeled part", {.type = innermost | IMetadata::TypePeelPart}, false},
      {"remainder part", {.type = innermost | IMetadata::TypeRemainderPart}, false},
      {"compiler reason 144", {.reasonAgainst = Field144}, false},
      {"compiler reason 147", {.reasonAgainst = Field147}, false},
      {"no instructions", {.total = 0, .memory = 0, .compute = 0, .mixed = 0}, false},
      {"no compute", {.total = 10, .memory = 4, .compute = 0, .mixed = 0}, false},
      {"no memory skips the memory test", {.total = 4, .memory = 0, .compute = 4, .mixed = 0}, true},
      // 33 / 100 is exactly the limit, and the test is strict.
      {"compute a third of memory", {.total = 133, .memory = 100, .compute = 33, .mixed = 0}, false},
      {"compute above a third of memory", {.total = 134, .memory = 100, .compute = 34, .mixed = 0}, true},
      {"no rest skips the rest test", {.total = 5, .memory = 2, .compute = 2, .mixed = 1}, true},
      // (1 + 1) / 4 is exactly the limit.
      {"work half of the rest", {.total = 6, .memory = 1, .compute = 1, .mixed = 0}, false},
      {"negative rest", {.total = 3, .memory = 2, .compute = 2, .mixed = 0}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(runCandidate(c.candidate), c.expected);
  }
}

TEST(DetectorHelpersTest, PotentialVectorizationNeedsItsInputs) {
  FakeResult result;
  auto row = result.addRow(1, IMetadata::TypeLoop | IMetadata::TypeInnermost);
  result.model->mixes[MixSummary] = {{9, variant_t(10)}, {5, variant_t(2)}, {1, variant_t(3)}, {45, variant_t(1)}};
  std::shared_ptr<data_models2::IDataProvider> provider = result.provider();
  EXPECT_TRUE(isPotentialVectorized(row, provider, result.model));
  EXPECT_FALSE(isPotentialVectorized(nullptr, provider, result.model));
  EXPECT_FALSE(isPotentialVectorized(row, nullptr, result.model));
  EXPECT_FALSE(isPotentialVectorized(row, provider, nullptr));

  // A value that is no integer counts as 0.
  result.model->mixes[MixSummary][45] = variant_t("1");
  result.model->mixes[MixSummary][1] = variant_t(0.5);
  EXPECT_FALSE(isPotentialVectorized(row, provider, result.model));

  // No summary mix at all is no candidate; a mix without a column is malformed.
  result.model->mixes.erase(MixSummary);
  EXPECT_FALSE(isPotentialVectorized(row, provider, result.model));
  result.model->mixes[MixSummary] = {{9, variant_t(10)}, {5, variant_t(2)}, {1, variant_t(3)}};
  EXPECT_THROW(isPotentialVectorized(row, provider, result.model), std::out_of_range);
}

}  // namespace
