#include "data_abstractions2/i_records.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace data_abstractions2 {
namespace {

bool isStatKeySafe(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) || c == '_';
  });
}

struct RecommendationCase {
  const char* factory;
  sptr_t<IRecommendation> record;
  unsigned flags;
  int confidence;
  int priority;
  bool hasParameters;
};

TEST(RecordsTest, RecommendationFactoriesFillEveryField) {
  variant_bag_t params;
  params.put("disclaimer", true);
  const RecommendationCase cases[] = {
      {"createRecommendation", createRecommendation("r", "T", "X", 9, params, 2, -1), 9, 2, -1, true},
      {"createRecommendation/priority", createRecommendation("r", "T", "X", 8, variant_bag_t(), 1, 4), 8, 1, 4, false},
      {"withConfidence", createRecommendationWithConfidence("r", "T", "X", 3, 9), 9, 3, -1, false},
      {"withParameters", createRecommendationWithParameters("r", "T", "X", params, 2), 8, 2, -1, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.factory);
    ASSERT_TRUE(c.record);
    EXPECT_EQ(c.record->getStringId(), "r");
    EXPECT_EQ(c.record->getTitle(), "T");
    EXPECT_EQ(c.record->getText(), "X");
    EXPECT_EQ(c.record->getFlags(), c.flags);
    EXPECT_EQ(c.record->getConfidence(), c.confidence);
    EXPECT_EQ(c.record->getPriority(), c.priority);
    EXPECT_EQ(c.record->getParameters(), c.hasParameters ? params : variant_bag_t());
  }
}

// Thousands of rows get the same issue text; records hold one copy of it,
// which lives as long as any record that holds it, whoever made it first.
TEST(RecordsTest, EqualLongTextsAreOneCopyThatOutlivesItsFirstOwner) {
  const std::string text(200, 'x');
  auto first = createIssueEx("fma_issue", "Title", text, 1, 1, variant_bag_t());
  auto second = createIssueEx("fma_issue", "Title", std::string(text), 1, 1, variant_bag_t());
  EXPECT_EQ(first->getText().data(), second->getText().data());
  first.reset();
  EXPECT_EQ(second->getText(), text);
  auto third = createRecommendation("align_loop", "Align", text, 8, variant_bag_t(), 1, -1);
  EXPECT_EQ(third->getText().data(), second->getText().data());
  second.reset();
  third.reset();
  auto fresh = createIssueEx("fma_issue", "Title", text, 1, 1, variant_bag_t());
  EXPECT_EQ(fresh->getText(), text);
}

TEST(RecordsTest, FlagsAccumulate) {
  sptr_t<IIssueEx> issue = createIssueEx("i", "", "", 1, 1, variant_bag_t());
  EXPECT_TRUE(issue->hasFlags(1));
  EXPECT_FALSE(issue->hasFlags(32));
  EXPECT_FALSE(issue->hasFlags(0));
  issue->addFlags(32);
  issue->addFlags(32);
  EXPECT_EQ(issue->getFlags(), 33u);
  EXPECT_TRUE(issue->hasFlags(32 | 256));
  EXPECT_FALSE(issue->hasFlags(2 | 256));
}

TEST(RecordsTest, FlagsFromSeveralThreadsAreAllKept) {
  sptr_t<IRecommendation> rec = createRecommendationWithConfidence("r", "", "", 1, 0);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t) {
    threads.emplace_back([rec, t] {
      for (unsigned bit = t; bit < 32; bit += 4) {
        for (int i = 0; i < 1000; ++i) rec->addFlags(1u << bit);
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(rec->getFlags(), 0xffffffffu);
}

TEST(RecordsTest, ValuesAreReadWhileWritten) {
  sptr_t<IIssueEx> issue = createIssueEx("i", "", "", 1, 0, variant_bag_t());
  float value = -1.0f;
  EXPECT_FALSE(issue->getValue(IRecommendationBase::impactId(), value));
  EXPECT_EQ(value, -1.0f);

  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done.load()) {
      for (const auto& entry : issue->getValues()) EXPECT_GE(entry.second, 0.0f);
    }
  });
  for (int i = 0; i < 20000; ++i) issue->setValue("k" + std::to_string(i % 50), float(i));
  done = true;
  reader.join();
  EXPECT_EQ(issue->getValues().size(), 50u);
  issue->setValue(IRecommendationBase::rooflineImpactId(), 2.5f);
  ASSERT_TRUE(issue->getValue(IRecommendationBase::rooflineImpactId(), value));
  EXPECT_EQ(value, 2.5f);
}

TEST(RecordsTest, RecommendationsAreASnapshotInInsertionOrder) {
  sptr_t<IIssueEx> issue = createIssueEx("i", "", "", 1, 0, variant_bag_t());
  for (const char* id : {"c", "a", "b"}) issue->addRecommendation(createRecommendationWithConfidence(id, "", "", 1, 8));
  auto before = issue->getRecommendations();
  issue->addRecommendation(createRecommendationWithConfidence("d", "", "", 1, 8));

  std::vector<std::string> seen;
  for (; !before.at_end(); before.next()) seen.push_back(before.current()->getStringId());
  EXPECT_EQ(seen, (std::vector<std::string>{"c", "a", "b"}));
  EXPECT_EQ(issue->getRecommendations().size(), 4u);
}

TEST(RecordsTest, ImpactKeysAreDistinctAndSafe) {
  EXPECT_NE(IRecommendationBase::impactId(), IRecommendationBase::rooflineImpactId());
  EXPECT_TRUE(isStatKeySafe(IRecommendationBase::impactId()));
  EXPECT_TRUE(isStatKeySafe(IRecommendationBase::rooflineImpactId()));
}

constexpr float kUnset = -1.0f;
const float kNaN = std::numeric_limits<float>::quiet_NaN();

// A record for the comparer: id, priority and the two impacts (kUnset for
// "not set").
sptr_t<IRecommendationBase> ranked(const char* id, int priority, float roofline, float impact) {
  sptr_t<IIssueEx> issue = createIssueEx(id, "", "", priority, 0, variant_bag_t());
  if (roofline != kUnset) issue->setValue(IRecommendationBase::rooflineImpactId(), roofline);
  if (impact != kUnset) issue->setValue(IRecommendationBase::impactId(), impact);
  return issue;
}

TEST(RecordsTest, ComparerRanksByRooflineImpactImpactPriorityThenId) {
  // Listed in the order the comparer must produce.
  const std::vector<sptr_t<IRecommendationBase>> expected = {
      ranked("z", 9, 2.0f, -1),
      ranked("y", 1, 1.0f, 5.0f),
      ranked("x", 1, 1.0f, 0.5f),
      ranked("a", 1, 1.0f, -1),
      ranked("w", 0, -1, 3.0f),
      ranked("b", -1, -1, -1),
      ranked("c", -1, 0.0f, 0.0f),  // zero equals missing, so the id decides
      ranked("a", 1, -1, -1),
      ranked("a", 1, -1, -1),  // equivalent to the previous one
      ranked("b", 1, -1, -1),
      nullptr,
  };
  std::vector<sptr_t<IRecommendationBase>> shuffled(expected.rbegin(), expected.rend());
  std::rotate(shuffled.begin(), shuffled.begin() + 4, shuffled.end());
  std::stable_sort(shuffled.begin(), shuffled.end(), IRecommendationBase::comparer);
  ASSERT_EQ(shuffled.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& got = shuffled[i];
    const auto& want = expected[i];
    ASSERT_EQ(bool(got), bool(want)) << i;
    if (!got) continue;
    EXPECT_EQ(got->getStringId(), want->getStringId()) << i;
    EXPECT_EQ(got->getPriority(), want->getPriority()) << i;
  }
}

TEST(RecordsTest, ComparerIsAStrictWeakOrder) {
  const std::vector<sptr_t<IRecommendationBase>> items = {
      ranked("a", 1, -1, -1),  ranked("a", 1, -1, -1),  ranked("b", 1, -1, -1),   ranked("a", 2, -1, -1),
      ranked("a", 1, 0, 0),    ranked("a", 1, 1, -1),   ranked("a", 1, -1, 1),    ranked("b", 0, 1, 1),
      ranked("c", 0, 0.5f, 3), ranked("", -1, -1, -1),  ranked("a", 1, kNaN, kNaN), nullptr,
      nullptr,
  };
  auto less = IRecommendationBase::comparer;
  auto equiv = [&](const auto& x, const auto& y) { return !less(x, y) && !less(y, x); };
  for (const auto& a : items) {
    EXPECT_FALSE(less(a, a));
    for (const auto& b : items) {
      EXPECT_FALSE(less(a, b) && less(b, a));
      for (const auto& c : items) {
        if (less(a, b) && less(b, c)) {
          EXPECT_TRUE(less(a, c));
        }
        if (equiv(a, b) && equiv(b, c)) {
          EXPECT_TRUE(equiv(a, c));
        }
      }
    }
  }
}

TEST(RecordsTest, IssueIdStringsRoundTripAndAreUnique) {
  const IIssueEx::IssueId ids[] = {
#define NIMB_ISSUE(value, name, text) IIssueEx::name,
#include "data_abstractions2/issue_ids.def"
#undef NIMB_ISSUE
  };
  std::set<std::string> seen;
  unsigned bits = 0;
  for (IIssueEx::IssueId id : ids) {
    const std::string text = IIssueEx::getIssueStringId(id);
    EXPECT_TRUE(isStatKeySafe(text)) << id;
    EXPECT_TRUE(seen.insert(text).second) << text;
    EXPECT_EQ(IIssueEx::getIssueIdByString(text), id) << text;
    EXPECT_EQ(id & (id - 1), 0u) << "not a single bit: " << id;
    bits |= id;
  }
  EXPECT_EQ(seen.size(), 26u);
  EXPECT_EQ(bits, (1u << 26) - 1);
  EXPECT_EQ(IIssueEx::getIssueStringId(IIssueEx::RooflineGuidance), "issue_roofline_guidance");
}

TEST(RecordsTest, UnknownIssueIdsAndStrings) {
  EXPECT_EQ(IIssueEx::getIssueStringId(IIssueEx::IssueIdNone), "");
  EXPECT_EQ(IIssueEx::getIssueStringId(static_cast<IIssueEx::IssueId>(3)), "");
  for (const char* text : {"", "fma", "FMA_ISSUE", "fma_issue_fortran", "compiler_diag_issue_15300"}) {
    EXPECT_EQ(IIssueEx::getIssueIdByString(text), IIssueEx::IssueIdNone) << text;
  }
}

TEST(RecordsTest, RecommendationIdStringsRoundTripPerLanguage) {
  const IRecommendation::RecommendationId ids[] = {
#define NIMB_RECOMMENDATION(value, name, stem) IRecommendation::name,
#include "data_abstractions2/recommendation_ids.def"
#undef NIMB_RECOMMENDATION
  };
  std::set<std::string> seen;
  for (IRecommendation::RecommendationId id : ids) {
    for (bool fortran : {false, true}) {
      const std::string text = IRecommendation::getRecommendationStringId(id, fortran);
      EXPECT_TRUE(isStatKeySafe(text)) << id;
      EXPECT_TRUE(seen.insert(text).second) << text;
      IRecommendation::RecommendationId back{};
      bool backFortran = !fortran;
      ASSERT_TRUE(IRecommendation::getRecommendationIdByString(text, back, backFortran)) << text;
      EXPECT_EQ(back, id);
      EXPECT_EQ(backFortran, fortran);
    }
    const std::string stem = IRecommendation::getRecommendationStem(id);
    EXPECT_EQ(IRecommendation::getRecommendationStringId(id, false), stem);
    EXPECT_EQ(IRecommendation::getRecommendationStringId(id, true), stem + "_fortran");
  }
  EXPECT_EQ(seen.size(), 2u * 72u);
  EXPECT_STREQ(IRecommendation::getRecommendationStem(IRecommendation::TypeConversionsRecSmallest),
               "type_conversions_rec_smallest");
}

TEST(RecordsTest, UnknownRecommendationIdsAndStrings) {
  const auto unused = static_cast<IRecommendation::RecommendationId>(13);
  EXPECT_EQ(IRecommendation::getRecommendationStringId(unused, false), "");
  EXPECT_EQ(IRecommendation::getRecommendationStringId(unused, true), "");
  EXPECT_STREQ(IRecommendation::getRecommendationStem(unused), "");

  IRecommendation::RecommendationId id = IRecommendation::AlignLoop;
  bool fortran = true;
  for (const char* text : {"", "_fortran", "align", "align_loop_fortran_fortran", "align_loop_c", "ALIGN_LOOP"}) {
    EXPECT_FALSE(IRecommendation::getRecommendationIdByString(text, id, fortran)) << text;
  }
  EXPECT_EQ(id, IRecommendation::AlignLoop);
  EXPECT_TRUE(fortran);
}

TEST(RecordsTest, TraitRecordAndIdStrings) {
  sptr_t<ITrait> trait = createTraitRecord(ITrait::MaskedStores, "text\nsuggestion", InstructionSets);
  ASSERT_TRUE(trait);
  EXPECT_EQ(trait->getTraitId(), ITrait::MaskedStores);
  EXPECT_EQ(trait->getText(), "text\nsuggestion");
  EXPECT_EQ(trait->getFieldId(), InstructionSets);
  EXPECT_STREQ(ITrait::getTraitStringId(ITrait::MaskedStores), "masked_stores");

  std::set<std::string> seen;
  for (int value = ITrait::MaskedStores; value <= ITrait::IndirectCalls; ++value) {
    const auto id = static_cast<ITrait::Id>(value);
    const std::string text = ITrait::getTraitStringId(id);
    EXPECT_TRUE(isStatKeySafe(text)) << value;
    EXPECT_TRUE(std::none_of(text.begin(), text.end(), [](unsigned char c) { return std::isupper(c); })) << text;
    EXPECT_TRUE(seen.insert(text).second) << text;
    ITrait::Id back = ITrait::IdNone;
    ASSERT_TRUE(ITrait::getTraitIdByString(text, back)) << text;
    EXPECT_EQ(back, id);
  }
  EXPECT_STREQ(ITrait::getTraitStringId(ITrait::IdNone), "");
  ITrait::Id untouched = ITrait::Horizontal;
  EXPECT_FALSE(ITrait::getTraitIdByString("", untouched));
  EXPECT_FALSE(ITrait::getTraitIdByString("Masked_Stores", untouched));
  EXPECT_EQ(untouched, ITrait::Horizontal);
}

}  // namespace
}  // namespace data_abstractions2
