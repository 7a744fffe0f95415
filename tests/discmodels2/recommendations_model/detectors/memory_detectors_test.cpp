// The memory access detectors on prepared rows: gathers and their patterns,
// the advice to measure access patterns, stride shares, non-temporal stores.
// Texts read as keys with their arguments (see issue_test_support.h).

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/memory/issue_check_access_patterns.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_excessive_caching.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_gather_scatter.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_inefficient_access_patterns.h"
#include "tests/discmodels2/recommendations_model/detectors/issue_test_support.h"

namespace {

using namespace issue_tests;
using namespace data_models2::issues;
namespace compiler_helpers = data_models2::compiler_helpers;

// Gathers and scatters

// Gathers by (variable, pattern code).
using Found = std::vector<std::pair<std::string, std::string>>;

sptr_t<FakeRow> gathering(Rows& r, const Found& found, bool fortran = false) {
  return r.add(IMetadata::TypeLoop | IMetadata::TypeInnermost, [&](CommonData& d) {
    d.hasGatherInfo = true;
    d.gatherIndices = {12, 40};
    for (const auto& [variable, code] : found) d.gathers.push_back({variable, code, ""});
    d.isFortran = fortran;
  });
}

// The issue with a table row and a bag item per gather.
std::vector<std::string> gatherIssue(const Found& found, bool fortran = false) {
  std::string table, items;
  for (const auto& [variable, code] : found) {
    table += "found_pattern_table_row(12|" + variable + "|pattern_name_" + code + ")";
    items += ",item{sites=12,variable=" + variable + ",pattern=pattern_name_" + code + "}";
  }
  return {issueLine("gather_scatter_issue", fortran ? 133 : 69),
          stemRec("gather_scatter_rec_info", 1, (fortran ? "_fortran(" : "_cpp(") + table + ")", fortran,
                  "{gather{arrayOf=item" + items + "}}")};
}

TEST_F(IssueDetectorTest, GatherScatter) {
  auto gathers = [](Found found) { return [found](Rows& r) { gathering(r, found); }; };
  runTable({{"rows in the order of the gathers", gathers({{"a", "3"}, {"b", "4"}, {"a", "3"}}),
             gatherIssue({{"a", "3"}, {"b", "4"}, {"a", "3"}})},
            {"a variable with two patterns stays out for good", gathers({{"a", "3"}, {"a", "4"}, {"a", "3"}}), {}},
            {"the ambiguous one out, the clear one in", gathers({{"a", "3"}, {"b", "2"}, {"a", "4"}}),
             gatherIssue({{"b", "2"}})},
            {"codes compare as text", gathers({{"a", "3"}, {"a", "03"}}), {}},
            {"pattern 0 is passed over but reported for a kept variable", gathers({{"a", "0"}, {"a", "2"}}),
             gatherIssue({{"a", "0"}, {"a", "2"}})},
            {"text that reads as 0 counts as 0", gathers({{"a", "x"}}), {}},
            {"an unnamed variable counts nothing", gathers({{"", "3"}}), {}},
            {"an unknown pattern shows its key", gathers({{"a", "9"}}), gatherIssue({{"a", "9"}})},
            {"Fortran", [](Rows& r) { gathering(r, {{"u", "1"}}, true); }, gatherIssue({{"u", "1"}}, true)},
            {"no gather information", [](Rows& r) { r.data(gathering(r, {{"a", "3"}})).hasGatherInfo = false; }, {}},
            {"no gather sites", [](Rows& r) { r.data(gathering(r, {{"a", "3"}})).gatherIndices.clear(); }, {}},
            {"no gathers", gathers({}), {}}},
           make<IssueGatherScatter>());
}

// Check access patterns

const std::vector<std::string> kCheck = {
    issueLine("check_access_patterns_issue", 69),
    stemRec("check_access_patterns_rec_run_map", 2, "", false, "{no_map_disclaimer{=1}}")};

struct Body {
  bool vectorized = true;
  bool bodyPart = true;
  bool innermost = true;
  ITrait::Id trait = ITrait::IdNone;
  IMetadata::type_t extraType = 0;
  bool strides = false;
};

auto body(Body b) {
  return [b](Rows& r) {
    sptr_t<FakeRow> row = r.add(IMetadata::TypeLoop | b.extraType, [&](CommonData& d) {
      d.isVectorized = b.vectorized;
      d.isVectorBodyPart = b.bodyPart;
      d.isInnermostLoop = b.innermost;
      d.strides.valid = b.strides;
    });
    if (b.trait != ITrait::IdNone) row->traits.push_back(createTraitRecord(b.trait, "t", FieldNone));
  };
}

TEST_F(IssueDetectorTest, CheckAccessPatterns) {
  runTable({{"vector body with masked stores", body({.trait = ITrait::MaskedStores}), kCheck},
            {"vector body with horizontal operations", body({.trait = ITrait::Horizontal}), kCheck},
            {"another trait is no sign", body({.trait = ITrait::Reciprocals}), {}},
            {"vector body marked by the collector", body({.extraType = 0x20000}), kCheck},
            {"vector body without a sign", body({}), {}},
            {"scalar innermost loop with a trait", body({.vectorized = false, .trait = ITrait::MaskedStores}), kCheck},
            {"scalar innermost loop with the mark only", body({.vectorized = false, .extraType = 0x20000}), {}},
            {"vectorized but not the body", body({.bodyPart = false, .trait = ITrait::MaskedStores}), {}},
            {"scalar and not innermost",
             body({.vectorized = false, .innermost = false, .trait = ITrait::MaskedStores}), {}},
            {"stride data there", body({.trait = ITrait::MaskedStores, .strides = true}), {}}},
           make<IssueCheckAccessPatterns>());
}

// Inefficient access patterns

struct Measured {
  double unit = 50.0;
  double large = 0.0;
  bool valid = true;
  bool fortran = false;
  compiler_helpers::CompilerVersion version{2023, 1, 0};
};

sptr_t<FakeRow> measured(Rows& r, const Measured& m, const Tweak& tweak = {}) {
  return r.add(IMetadata::TypeLoop | IMetadata::TypeInnermost, [&](CommonData& d) {
    d.isVorexCompiler = true;
    d.strides = {{m.unit, 100.0 - m.unit - m.large, m.large}, m.valid};
    d.isFortran = m.fortran;
    d.compilerVersion = m.version;
    if (tweak) tweak(d);
  });
}

const std::string kMapIssue = issueLine("inefficient_MAP_issue", 69);
const std::string kMapIssueFortran = issueLine("inefficient_MAP_issue", 133);
const std::string kSoa = stemRec("inefficient_MAP_rec_SOA", 1, "_cpp");
std::string vldk(int confidence) { return stemRec("inefficient_MAP_rec_VLDK", confidence, ""); }
const std::string kNoMap = "{no_map_disclaimer{=1}}";
const std::string kExchange = stemRec("inefficient_MAP_rec_exchange_outer", 1, "_cpp", false, kNoMap);
const std::string kContiguous = stemRec("inefficient_MAP_rec_contiguous", 1, "", true);

// A split Fortran loop whose parts hold assumed-shape arrays checked for
// contiguity with the given outcomes (1 contiguous, 2 not).
sptr_t<FakeRow> checkedPart(Rows& r, const sptr_t<FakeRow>& loop, int outcome, bool idle = false) {
  sptr_t<FakeRow> part = r.add(IMetadata::TypeLoop, [&](CommonData& d) {
    d.typeFlag1024 = idle;
    d.fieldPresence[Field64] = true;
    d.fieldPresence[Field65] = true;
    d.field64 = 16;
    d.field65 = outcome;
  });
  r.treeChild(loop, part);
  return part;
}

sptr_t<FakeRow> splitFortranLoop(Rows& r, const std::vector<int>& outcomes, bool strides = true) {
  sptr_t<FakeRow> loop = measured(r, {.valid = strides, .fortran = true});
  r.data(loop).isSplitLoop = true;
  r.data(loop).isInnermostLoop = false;
  for (int outcome : outcomes) checkedPart(r, loop, outcome);
  return loop;
}

auto splitFortran(std::vector<int> outcomes, bool strides = true) {
  return [=](Rows& r) { splitFortranLoop(r, outcomes, strides); };
}

TEST_F(IssueDetectorTest, InefficientAccessPatterns) {
  auto m = [](Measured x, Tweak tweak = {}) { return [=](Rows& r) { measured(r, x, tweak); }; };
  runTable({{"no ruling unit stride", m({}), {kMapIssue, kSoa, vldk(3)}},
            {"unit stride at exactly 90% still", m({.unit = 90.0}), {kMapIssue, kSoa, vldk(3)}},
            {"unit stride above 90%", m({.unit = 90.1}), {}},
            {"large strides at exactly 5%: the layout", m({.large = 5.0}), {kMapIssue, kSoa, vldk(3)}},
            {"large strides just above 5% say nothing", m({.large = 5.1}), {}},
            {"large strides at exactly 30% say nothing", m({.large = 30.0}), {}},
            {"many large strides: exchange the loops", m({.large = 30.1}), {kMapIssue, kExchange}},
            {"a compiler up to 16.0.0", m({.version = {16, 0, 0}}), {kMapIssue, kSoa, vldk(1)}},
            {"an unknown compiler version", m({.version = {}}), {kMapIssue, kSoa, vldk(1)}},
            {"16.0.1", m({.version = {16, 0, 1}}), {kMapIssue, kSoa, vldk(3)}},
            {"15.9.9 is older however its minor numbers compare", m({.version = {15, 9, 9}}),
             {kMapIssue, kSoa, vldk(1)}},
            {"Fortran has no layout library", m({.fortran = true}),
             {kMapIssueFortran, stemRec("inefficient_MAP_rec_SOA", 1, "_fortran", true)}},
            {"no stride data", m({.valid = false}), {}},
            {"another compiler", m({}, [](CommonData& d) { d.isVorexCompiler = false; }), {}},
            {"vectorized, not the body", m({}, [](CommonData& d) { d.isVectorized = true; }), {}},
            {"a split Fortran loop with contiguous parts", splitFortran({1, 1}), {kMapIssueFortran, kContiguous}},
            {"one part not contiguous", splitFortran({1, 2}), {}},
            {"contiguous parts but no stride data", splitFortran({1}, false), {}},
            {"marked parts that never ran are passed over",
             [](Rows& r) { checkedPart(r, splitFortranLoop(r, {1}), 2, true); }, {kMapIssueFortran, kContiguous}},
            {"a marked part that ran counts",
             [](Rows& r) { r.data(checkedPart(r, splitFortranLoop(r, {1}), 2, true)).callCount = 4; }, {}},
            {"a part without the outcome field is passed over",
             [](Rows& r) { r.data(checkedPart(r, splitFortranLoop(r, {1}), 2)).fieldPresence[Field65] = false; },
             {kMapIssueFortran, kContiguous}},
            {"a split Fortran innermost loop with many large strides: contiguous first",
             [](Rows& r) {
               sptr_t<FakeRow> loop = splitFortranLoop(r, {1});
               r.data(loop).isInnermostLoop = true;
               r.data(loop).strides = {{50.0, 10.0, 40.0}, true};
             },
             {kMapIssueFortran, kContiguous,
              stemRec("inefficient_MAP_rec_exchange_outer", 1, "_fortran", true, kNoMap)}},
            {"a vector body", m({}, [](CommonData& d) {
               d.isVectorized = d.isVectorBodyPart = true;
               d.isInnermostLoop = false;
             }),
             {kMapIssue, kSoa, vldk(3)}}},
           make<IssueInefficientAccessPatterns>());
}

// Excessive caching

TEST_F(IssueDetectorTest, ExcessiveCaching) {
  auto candidates = [](std::vector<std::string> kinds) {
    return [kinds](Rows& r) {
      r.add(IMetadata::TypeLoop, [&](CommonData& d) {
        for (const std::string& kind : kinds) d.ntsCandidates.push_back({kind, "out", 100});
      });
    };
  };
  const std::vector<std::string> found = {
      line("issue_excessive_caching", 69, "issue_excessive_caching_title", "issue_excessive_caching_title"),
      rec("rec_use_nts", 1, "rec_use_nts_title", "rec_use_nts_title")};
  runTable({{"a store worth making non-temporal", candidates({"NT-candidates: 2"}), found},
            {"the first entry says the stores are non-temporal", candidates({"NT-stores: 1", "NT-candidates"}), {}},
            {"only the first entry is looked at", candidates({"NT-candidates", "NT-stores"}), found},
            {"an entry without text", candidates({""}), found},
            {"no candidates", candidates({}), {}}},
           make<IssueExcessiveCaching>());
}

}  // namespace
