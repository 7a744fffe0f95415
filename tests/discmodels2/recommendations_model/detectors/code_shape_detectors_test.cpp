// The code-shape detectors on prepared rows: peel and remainder, loop
// misalignment, register pressure and the 512-bit shadow. Texts read as keys
// with their arguments (see issue_test_support.h); the impact figures of the
// peel and remainder cases were worked out by hand in single precision.

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/code_shape/issue_peel_remainder.h"
#include "tests/discmodels2/recommendations_model/detectors/issue_test_support.h"

namespace {

using namespace issue_tests;
using namespace data_models2::issues;

std::string line(const std::string& id, unsigned flags, const std::string& title, const std::string& text,
                 const std::string& extra = "") {
  return id + " [" + std::to_string(flags) + "] " + title + " / " + text + (extra.empty() ? "" : " " + extra);
}
std::string rec(const std::string& id, int confidence, const std::string& title, const std::string& text,
                const std::string& bag = "") {
  return "  " + id + " c" + std::to_string(confidence) + " [8] " + title + " / " + text +
         (bag.empty() ? "" : " " + bag);
}

constexpr IMetadata::type_t kLoop = IMetadata::TypeLoop;

// ---------------------------------------------------------------------------
// Peel and remainder

constexpr IMetadata::type_t kSplit = IMetadata::TypeSplitLoop;
constexpr IMetadata::type_t kPeel = IMetadata::TypePeelPart;
constexpr IMetadata::type_t kRemainder = IMetadata::TypeRemainderPart;
constexpr IMetadata::type_t kBody = IMetadata::TypeVectorBodyPart;

// A split C++ loop of a current Vorex compiler for AVX2.
sptr_t<FakeRow> splitLoop(Rows& r, const Tweak& tweak = {}) {
  return r.add(kLoop | kSplit, [tweak](CommonData& d) {
    d.isSplitLoop = true;
    d.isVorexCompiler = true;
    d.compilerVersion.major = 19;
    d.isaName = "avx2";
    if (tweak) tweak(d);
  });
}

// A part of `loop` with trip counts, unrolled once, vectorized when its
// vector length is above 1.
sptr_t<FakeRow> part(Rows& r, const sptr_t<FakeRow>& loop, IMetadata::type_t kind, double time, std::uint64_t trips,
                     int vectorLength, const Tweak& tweak = {}) {
  sptr_t<FakeRow> row = r.add(kLoop | kind, [=](CommonData& d) {
    d.isPeelPart = kind == kPeel;
    d.isRemainderPart = kind == kRemainder;
    d.isVectorBodyPart = kind == kBody;
    d.isVectorized = vectorLength > 1;
    d.totalTime = time;
    d.tripCountAverage = trips;
    d.tripCountsValid = true;
    d.vectorLength = vectorLength;
    d.unrollFactor = 1;
    d.isaName = "avx2";
    if (tweak) tweak(d);
  });
  r.treeChild(loop, row);
  return row;
}

// A body that outweighs its small peel and remainder: the split alone is no
// problem, what the loop gets depends on the counts.
void quietSplit(Rows& r, std::uint64_t bodyTrips, const Tweak& loopTweak = {}, const Tweak& peelTweak = {}) {
  auto loop = splitLoop(r, loopTweak);
  part(r, loop, kPeel, 0.01, 2, 1, peelTweak);
  part(r, loop, kBody, 1.0, bodyTrips, 1);
  part(r, loop, kRemainder, 0.01, 1, 1);
}

// Peel 0.1 s of 1 trip, vector body 0.2 s of 10 trips of 8, scalar
// remainder 0.3 s of 5 trips: the edges outweigh the body.
void heavyEdges(Rows& r, int compilerMajor) {
  auto loop = splitLoop(r, [=](CommonData& d) { d.compilerVersion.major = compilerMajor; });
  part(r, loop, kPeel, 0.1, 1, 1);
  part(r, loop, kBody, 0.2, 10, 8);
  part(r, loop, kRemainder, 0.3, 5, 1);
}

const std::string kIssue = line("peel_remainder_issue", 65, "peel_remainder_issue_title", "peel_remainder_issue_text");
std::string issueWithImpact(const std::string& impact) {
  return line("peel_remainder_issue", 65, "peel_remainder_issue_title", "peel_remainder_issue_text",
              "impact=" + impact);
}
std::string peelRec(int id, int confidence, const std::string& bag = "") {
  static const char* const stems[] = {"",
                                      "peel_remainder_rec_loop_count",
                                      "peel_remainder_rec_unroll_prevents",
                                      "peel_remainder_rec_vectorlength",
                                      "peel_remainder_rec_align",
                                      "peel_remainder_rec_padding",
                                      "peel_remainder_rec_run_trip_count",
                                      "peel_remainder_rec_enforce_vecremainder",
                                      "peel_remainder_force_scalar_remainder",
                                      "peel_remainder_rec_omp_simd_modifier",
                                      "peel_remainder_rec_auto_simd_modifier"};
  if (id == 11) {
    return rec("rec_peel_remainder_disable_dynamic_align", confidence, "rec_peel_remainder_disable_dynamic_align",
               "rec_peel_remainder_disable_dynamic_align_cpp", bag);
  }
  const std::string stem = stems[id];
  // The texts of the trip count run and the scalar remainder are the same
  // for both languages.
  const bool oneText = id == 6 || id == 8;
  return rec(stem, confidence, stem + "_title", stem + (oneText ? "_text" : "_text_cpp"), bag);
}
// The bag's members in the order they are added.
std::string partsBag(int vectorLength, int tripCount, int peel, int unroll, int compiler = 0) {
  return "{vector_length{=" + std::to_string(vectorLength) + "},trip_count{=" + std::to_string(tripCount) +
         "},trip_count_peel{=" + std::to_string(peel) + "},unroll_factor{=" + std::to_string(unroll) + "}" +
         (compiler ? ",compiler_major_version{=" + std::to_string(compiler) + "}" : "") + "}";
}
const std::string kCountsRan = "{no_tripcounts_disclaimer{=0}}";
const std::string kCountsMissing = "{no_tripcounts_disclaimer{=1}}";

class PeelRemainderTest : public IssueDetectorTest {};

TEST_F(PeelRemainderTest, RemediesTheirOrderAndTheEstimate) {
  const std::vector<Case> cases = {
      {"a loop that was not split", [](Rows& r) { r.add(kLoop); }, {}},
      {"the unrolling mark answers alone, even without parts",
       [](Rows& r) { splitLoop(r, [](CommonData& d) { d.typeFlag2048 = true; }); },
       {kIssue, peelRec(2, 1)}},
      {"the unrolling mark in Fortran",
       [](Rows& r) {
         splitLoop(r, [](CommonData& d) {
           d.typeFlag2048 = true;
           d.isFortran = true;
         });
       },
       {line("peel_remainder_issue", 129, "peel_remainder_issue_title", "peel_remainder_issue_text"),
        rec("peel_remainder_rec_unroll_prevents_fortran", 1, "peel_remainder_rec_unroll_prevents_title",
            "peel_remainder_rec_unroll_prevents_text_fortran")}},
      {"old compiler, no parts: unrolling and a trip count run",
       [](Rows& r) { splitLoop(r, [](CommonData& d) { d.compilerVersion.major = 15; }); },
       {kIssue, peelRec(2, 1), peelRec(6, 2, kCountsMissing)}},
      {"current compiler, no parts: vector remainder, trip count run, loop count",
       [](Rows& r) { splitLoop(r); },
       {kIssue, peelRec(7, 1), peelRec(6, 2, kCountsMissing), peelRec(1, 2, kCountsMissing)}},
      {"heavy edges: align, pad, tell the loop count",
       [](Rows& r) { heavyEdges(r, 19); },
       {issueWithImpact("0.093354702"), peelRec(7, 1), peelRec(4, 3), peelRec(5, 3, partsBag(8, 86, 1, 1)),
        peelRec(1, 2, kCountsRan)}},
      {"heavy edges, old compiler: the loop count twice, as two steps add it",
       [](Rows& r) { heavyEdges(r, 15); },
       {issueWithImpact("0.093354702"), peelRec(1, 1), peelRec(2, 1), peelRec(4, 3),
        peelRec(5, 3, partsBag(8, 86, 1, 1)), peelRec(1, 1, kCountsRan)}},
      {"a compiler of another vendor counts as old",
       [](Rows& r) {
         heavyEdges(r, 19);
         r.data(r.examined).isVorexCompiler = false;
       },
       {issueWithImpact("0.093354702"), peelRec(1, 1), peelRec(2, 1), peelRec(4, 3),
        peelRec(5, 3, partsBag(8, 86, 1, 1)), peelRec(1, 1, kCountsRan)}},
      {"AVX-512 with a short vector remainder: let it run scalar",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kBody, 0.1, 2, 16, [](CommonData& d) { d.isAvx512 = true; });
         part(r, loop, kRemainder, 0.2, 1, 16, [](CommonData& d) { d.field92 = 6; });
       },
       {kIssue, peelRec(8, 1), peelRec(5, 1, partsBag(16, 48, 0, 1)), peelRec(1, 1, kCountsRan)}},
      {"AVX-512 with a remainder at the bound of short (125 / 16 = 7)",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kBody, 0.1, 2, 16, [](CommonData& d) { d.isAvx512 = true; });
         part(r, loop, kRemainder, 0.2, 1, 16, [](CommonData& d) { d.field92 = 7; });
       },
       {kIssue, peelRec(5, 1, partsBag(16, 48, 0, 1)), peelRec(1, 1, kCountsRan)}},
      {"unrolled past the iterations, sure because the counts are exact",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kBody, 0.1, 1, 2, [](CommonData& d) { d.field36 = true; });
         part(r, loop, kRemainder, 0.2, 0, 1, [](CommonData& d) { d.unrollFactor = 2; });
       },
       {issueWithImpact("0.150000006"), peelRec(2, 3, partsBag(2, 2, 0, 2)), peelRec(7, 1),
        peelRec(5, 3, partsBag(2, 2, 0, 2)), peelRec(1, 2, kCountsRan)}},
      {"unrolled past the iterations, counts not exact: two iterations are too few to be sure",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kBody, 0.1, 1, 2);
         part(r, loop, kRemainder, 0.2, 0, 1, [](CommonData& d) { d.unrollFactor = 2; });
       },
       {issueWithImpact("0.150000006"), peelRec(2, 1, partsBag(2, 2, 0, 2)), peelRec(7, 1),
        peelRec(5, 3, partsBag(2, 2, 0, 2)), peelRec(1, 2, kCountsRan)}},
      {"two iterations for a vector of four: a shorter vector length",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kBody, 0.1, 0, 4);
         part(r, loop, kRemainder, 0.2, 2, 1);
       },
       {issueWithImpact("0.0120016336"), peelRec(7, 1), peelRec(3, 1, partsBag(4, 2, 0, 1, 19)),
        peelRec(5, 3, partsBag(4, 2, 0, 1)), peelRec(1, 2, kCountsRan)}},
      {"one iteration is no case for a shorter vector",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kBody, 0.1, 0, 4);
         part(r, loop, kRemainder, 0.2, 1, 1);
       },
       {issueWithImpact("-0.275996745"), peelRec(7, 1), peelRec(5, 3, partsBag(4, 1, 0, 1)),
        peelRec(1, 2, kCountsRan)}},
      {"a body of 19 iterations can't hide its peel: align, then pad",
       [](Rows& r) { quietSplit(r, 19); },
       {issueWithImpact("0.469087243"), peelRec(4, 1), peelRec(5, 1, partsBag(1, 22, 2, 1)),
        peelRec(1, 1, kCountsRan)}},
      {"a body of 20 iterations can: nothing to advise, the issue is dropped",
       [](Rows& r) { quietSplit(r, 20); },
       {}},
      {"a SIMD-marked peel of a threaded loop: the OpenMP modifier and alignment",
       [](Rows& r) {
         quietSplit(
             r, 20, [](CommonData& d) { d.typeFlag16384 = true; }, [](CommonData& d) { d.typeFlag512 = true; });
       },
       {issueWithImpact("0.447132647"), peelRec(9, 3), peelRec(4, 3), peelRec(5, 1, partsBag(1, 23, 2, 1)),
        peelRec(1, 1, kCountsRan)}},
      {"a threaded loop with a remainder of two iterations: the compiler's modifier",
       [](Rows& r) {
         auto loop = splitLoop(r, [](CommonData& d) { d.typeFlag16384 = true; });
         part(r, loop, kBody, 1.0, 20, 1);
         part(r, loop, kRemainder, 0.01, 2, 1);
       },
       {issueWithImpact("0.482000172"), peelRec(10, 3)}},
      {"a threaded loop whose remainder ran one iteration needs no modifier",
       [](Rows& r) {
         auto loop = splitLoop(r, [](CommonData& d) { d.typeFlag16384 = true; });
         part(r, loop, kBody, 1.0, 20, 1);
         part(r, loop, kRemainder, 0.01, 2, 1, [](CommonData& d) { d.iterationCount = 1; });
       },
       {}},
      {"no trip counts and a slow peel: align, and ask for a trip count run",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kPeel, 0.3, 0, 1, [](CommonData& d) { d.tripCountsValid = false; });
         part(r, loop, kBody, 0.1, 0, 4, [](CommonData& d) { d.tripCountsValid = false; });
         part(r, loop, kRemainder, 0.05, 0, 1, [](CommonData& d) { d.tripCountsValid = false; });
       },
       {kIssue, peelRec(7, 1), peelRec(3, 1, partsBag(4, 0, 0, 1, 19)), peelRec(4, 3),
        peelRec(5, 1, partsBag(4, 0, 0, 1)), peelRec(6, 2, kCountsMissing), peelRec(1, 2, kCountsMissing)}},
      {"a remainder without a split parent is judged alone, without its vector length",
       [](Rows& r) {
         r.add(kLoop | kRemainder, [](CommonData& d) {
           d.isRemainderPart = true;
           d.isVorexCompiler = true;
           d.compilerVersion.major = 19;
           d.isaName = "avx2";
           d.totalTime = 0.2;
           d.tripCountAverage = 3;
           d.tripCountsValid = true;
           d.vectorLength = 4;
           d.unrollFactor = 2;
         });
       },
       {issueWithImpact("0.136000365"), peelRec(2, 3, partsBag(4, 6, 0, 2)), peelRec(7, 1), peelRec(4, 3),
        peelRec(5, 1, partsBag(4, 6, 0, 2)), peelRec(1, 2, kCountsRan)}},
      {"a peel that leaves the count just short of a vector: turn dynamic alignment off",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kPeel, 0.001, 1, 1);
         part(r, loop, kBody, 1.0, 10, 8);
       },
       {issueWithImpact("-0.0554457903"), peelRec(11, 1)}},
      {"a peel that leaves half a vector over: nothing to advise",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kPeel, 0.001, 4, 1);
         part(r, loop, kBody, 1.0, 10, 8);
       },
       {}},
      {"a low-granularity trait makes a quiet split significant",
       [](Rows& r) {
         auto loop = splitLoop(r);
         part(r, loop, kPeel, 0.001, 1, 1);
         part(r, loop, kBody, 1.0, 10, 8);
         loop->addRowTrait(createTraitRecord(ITrait::LowGranularityFirst, "", FieldNone));
       },
       {issueWithImpact("-0.0554457903"), peelRec(7, 1), peelRec(1, 2, kCountsRan), peelRec(11, 1)}},
  };
  runTable(cases, [](Rows& r) { return std::make_shared<IssuePeelRemainder>(r.provider); });
}

}  // namespace
