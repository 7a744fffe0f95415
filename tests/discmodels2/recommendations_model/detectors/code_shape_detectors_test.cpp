// The code-shape detectors on prepared rows: peel and remainder, loop
// misalignment, register pressure and the 512-bit shadow. Texts read as keys
// with their arguments (see issue_test_support.h); the impact figures of the
// peel and remainder cases were worked out by hand in single precision.

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/code_shape/issue_loop_misalignment.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_peel_remainder.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_registers_pressure.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_zmm_shadow.h"
#include "tests/discmodels2/recommendations_model/detectors/issue_test_support.h"

namespace {

using namespace issue_tests;
using namespace data_models2::issues;

constexpr IMetadata::type_t kLoop = IMetadata::TypeLoop;

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

// A part of a split loop with trip counts, unrolled once, vectorized when
// its vector length is above 1.
struct Part {
  IMetadata::type_t kind;
  double time;
  std::uint64_t trips;
  int vectorLength;
  Tweak tweak = {};
};

sptr_t<FakeRow> part(Rows& r, const sptr_t<FakeRow>& loop, const Part& p) {
  sptr_t<FakeRow> row = r.add(kLoop | p.kind, [&](CommonData& d) {
    d.isPeelPart = p.kind == kPeel;
    d.isRemainderPart = p.kind == kRemainder;
    d.isVectorBodyPart = p.kind == kBody;
    d.isVectorized = p.vectorLength > 1;
    d.totalTime = p.time;
    d.tripCountAverage = p.trips;
    d.tripCountsValid = true;
    d.vectorLength = p.vectorLength;
    d.unrollFactor = 1;
    d.isaName = "avx2";
    if (p.tweak) p.tweak(d);
  });
  r.treeChild(loop, row);
  return row;
}

auto split(std::vector<Part> parts, Tweak loopTweak = {}) {
  return [=](Rows& r) {
    sptr_t<FakeRow> loop = splitLoop(r, loopTweak);
    for (const Part& p : parts) part(r, loop, p);
  };
}

const Tweak kNoCounts = [](CommonData& d) { d.tripCountsValid = false; };
const Tweak kOldCompiler = [](CommonData& d) { d.compilerVersion.major = 15; };
const Tweak kThreaded = [](CommonData& d) { d.typeFlag16384 = true; };
const Tweak kAvx512 = [](CommonData& d) { d.isAvx512 = true; };
const Tweak kUnrolledTwice = [](CommonData& d) { d.unrollFactor = 2; };

// A body that outweighs its small peel and remainder: the split alone is no
// problem, what the loop gets depends on the counts.
auto quietSplit(std::uint64_t bodyTrips, const Tweak& loopTweak = {}, const Tweak& peelTweak = {}) {
  return split({{kPeel, 0.01, 2, 1, peelTweak}, {kBody, 1.0, bodyTrips, 1}, {kRemainder, 0.01, 1, 1}}, loopTweak);
}

// Peel 0.1 s of 1 trip, vector body 0.2 s of 10 trips of 8, scalar
// remainder 0.3 s of 5 trips: the edges outweigh the body.
auto heavyEdges(const Tweak& loopTweak = {}, const Tweak& peelTweak = {}) {
  return split({{kPeel, 0.1, 1, 1, peelTweak}, {kBody, 0.2, 10, 8}, {kRemainder, 0.3, 5, 1}}, loopTweak);
}

const std::string kIssue = issueLine("peel_remainder_issue");
std::string issueWithImpact(const std::string& impact) { return kIssue + " impact=" + impact; }
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
  // The texts of the trip count run and the scalar remainder are the same
  // for both languages.
  return stemRec(stems[id], confidence, id == 6 || id == 8 ? "" : "_cpp", false, bag);
}
// The bag's members in the order they are added.
std::string partsBag(int vectorLength, int tripCount, int peel, int unroll, int compiler = 0) {
  return "{vector_length{=" + std::to_string(vectorLength) + "},trip_count{=" + std::to_string(tripCount) +
         "},trip_count_peel{=" + std::to_string(peel) + "},unroll_factor{=" + std::to_string(unroll) + "}" +
         (compiler ? ",compiler_major_version{=" + std::to_string(compiler) + "}" : "") + "}";
}
const std::string kCountsRan = "{no_tripcounts_disclaimer{=0}}";
const std::string kCountsMissing = "{no_tripcounts_disclaimer{=1}}";

TEST_F(IssueDetectorTest, PeelRemainder) {
  const std::string heavyImpact = issueWithImpact("0.093354702");
  const std::vector<Case> cases = {
      {"a loop that was not split", [](Rows& r) { r.add(kLoop); }, {}},
      {"the unrolling mark answers alone, even without parts",
       [](Rows& r) { splitLoop(r, [](CommonData& d) { d.typeFlag2048 = true; }); }, {kIssue, peelRec(2, 1)}},
      {"the unrolling mark in Fortran",
       [](Rows& r) { splitLoop(r, [](CommonData& d) { d.typeFlag2048 = d.isFortran = true; }); },
       {issueLine("peel_remainder_issue", 129), stemRec("peel_remainder_rec_unroll_prevents", 1, "_fortran", true)}},
      {"old compiler, no parts: unrolling and a trip count run", split({}, kOldCompiler),
       {kIssue, peelRec(2, 1), peelRec(6, 2, kCountsMissing)}},
      {"current compiler, no parts: vector remainder, trip count run, loop count", split({}),
       {kIssue, peelRec(7, 1), peelRec(6, 2, kCountsMissing), peelRec(1, 2, kCountsMissing)}},
      {"heavy edges: align, pad, tell the loop count", heavyEdges(),
       {heavyImpact, peelRec(7, 1), peelRec(4, 3), peelRec(5, 3, partsBag(8, 86, 1, 1)), peelRec(1, 2, kCountsRan)}},
      {"heavy edges, old compiler: the loop count twice, as two steps add it", heavyEdges(kOldCompiler),
       {heavyImpact, peelRec(1, 1), peelRec(2, 1), peelRec(4, 3), peelRec(5, 3, partsBag(8, 86, 1, 1)),
        peelRec(1, 1, kCountsRan)}},
      {"a compiler of another vendor counts as old", heavyEdges([](CommonData& d) { d.isVorexCompiler = false; }),
       {heavyImpact, peelRec(1, 1), peelRec(2, 1), peelRec(4, 3), peelRec(5, 3, partsBag(8, 86, 1, 1)),
        peelRec(1, 1, kCountsRan)}},
      {"AVX-512 with a short vector remainder: let it run scalar",
       split({{kBody, 0.1, 2, 16, kAvx512}, {kRemainder, 0.2, 1, 16, [](CommonData& d) { d.field92 = 6; }}}),
       {kIssue, peelRec(8, 1), peelRec(5, 1, partsBag(16, 48, 0, 1)), peelRec(1, 1, kCountsRan)}},
      {"AVX-512 with a remainder at the bound of short (125 / 16 = 7)",
       split({{kBody, 0.1, 2, 16, kAvx512}, {kRemainder, 0.2, 1, 16, [](CommonData& d) { d.field92 = 7; }}}),
       {kIssue, peelRec(5, 1, partsBag(16, 48, 0, 1)), peelRec(1, 1, kCountsRan)}},
      {"unrolled past the iterations, sure because the counts are exact",
       split({{kBody, 0.1, 1, 2, [](CommonData& d) { d.field36 = true; }}, {kRemainder, 0.2, 0, 1, kUnrolledTwice}}),
       {issueWithImpact("0.150000006"), peelRec(2, 3, partsBag(2, 2, 0, 2)), peelRec(7, 1),
        peelRec(5, 3, partsBag(2, 2, 0, 2)), peelRec(1, 2, kCountsRan)}},
      {"unrolled past the iterations, counts not exact: two iterations are too few to be sure",
       split({{kBody, 0.1, 1, 2}, {kRemainder, 0.2, 0, 1, kUnrolledTwice}}),
       {issueWithImpact("0.150000006"), peelRec(2, 1, partsBag(2, 2, 0, 2)), peelRec(7, 1),
        peelRec(5, 3, partsBag(2, 2, 0, 2)), peelRec(1, 2, kCountsRan)}},
      {"two iterations for a vector of four: a shorter vector length",
       split({{kBody, 0.1, 0, 4}, {kRemainder, 0.2, 2, 1}}),
       {issueWithImpact("0.0120016336"), peelRec(7, 1), peelRec(3, 1, partsBag(4, 2, 0, 1, 19)),
        peelRec(5, 3, partsBag(4, 2, 0, 1)), peelRec(1, 2, kCountsRan)}},
      {"one iteration is no case for a shorter vector", split({{kBody, 0.1, 0, 4}, {kRemainder, 0.2, 1, 1}}),
       {issueWithImpact("-0.275996745"), peelRec(7, 1), peelRec(5, 3, partsBag(4, 1, 0, 1)),
        peelRec(1, 2, kCountsRan)}},
      {"a body of 19 iterations can't hide its peel: align, then pad", quietSplit(19),
       {issueWithImpact("0.469087243"), peelRec(4, 1), peelRec(5, 1, partsBag(1, 22, 2, 1)),
        peelRec(1, 1, kCountsRan)}},
      {"a body of 20 iterations can: nothing to advise, the issue is dropped", quietSplit(20), {}},
      {"a SIMD-marked peel of a threaded loop: the OpenMP modifier and alignment",
       quietSplit(20, kThreaded, [](CommonData& d) { d.typeFlag512 = true; }),
       {issueWithImpact("0.447132647"), peelRec(9, 3), peelRec(4, 3), peelRec(5, 1, partsBag(1, 23, 2, 1)),
        peelRec(1, 1, kCountsRan)}},
      {"a threaded loop with a remainder of two iterations: the compiler's modifier",
       split({{kBody, 1.0, 20, 1}, {kRemainder, 0.01, 2, 1}}, kThreaded),
       {issueWithImpact("0.482000172"), peelRec(10, 3)}},
      {"a threaded loop whose remainder ran one iteration needs no modifier",
       split({{kBody, 1.0, 20, 1}, {kRemainder, 0.01, 2, 1, [](CommonData& d) { d.iterationCount = 1; }}}, kThreaded),
       {}},
      {"no trip counts and a slow peel: align, and ask for a trip count run",
       split({{kPeel, 0.3, 0, 1, kNoCounts}, {kBody, 0.1, 0, 4, kNoCounts}, {kRemainder, 0.05, 0, 1, kNoCounts}}),
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
       split({{kPeel, 0.001, 1, 1}, {kBody, 1.0, 10, 8}}), {issueWithImpact("-0.0554457903"), peelRec(11, 1)}},
      {"a peel that leaves half a vector over: nothing to advise", split({{kPeel, 0.001, 4, 1}, {kBody, 1.0, 10, 8}}),
       {}},
      {"a low-granularity trait makes a quiet split significant",
       [](Rows& r) {
         split({{kPeel, 0.001, 1, 1}, {kBody, 1.0, 10, 8}})(r);
         r.examined->addRowTrait(createTraitRecord(ITrait::LowGranularityFirst, "", FieldNone));
       },
       {issueWithImpact("-0.0554457903"), peelRec(7, 1), peelRec(1, 2, kCountsRan), peelRec(11, 1)}},
      {"a body with trip counts that left no sample keeps its place: the split is quiet",
       split({{kBody, 0.0, 10, 8}}), {}},
      {"a part below the noise counts only towards the maxima (unrolled four times, in the bag)",
       split({{kBody, 5e-13, 10, 8, both(kNoCounts, [](CommonData& d) { d.unrollFactor = 4; })}}),
       {kIssue, peelRec(2, 1, partsBag(8, 0, 0, 4)), peelRec(7, 1), peelRec(6, 2, kCountsMissing),
        peelRec(1, 2, kCountsMissing)}},
      {"old compiler, a part the compiler reports more of: no loop count until padding asks",
       heavyEdges(kOldCompiler, [](CommonData& d) { d.field53 = 2; }),
       {heavyImpact, peelRec(2, 1), peelRec(4, 3), peelRec(5, 3, partsBag(8, 86, 1, 1)), peelRec(1, 1, kCountsRan)}},
      {"no trip counts, a peel slower than nothing but the body with its remainder: align, less sure",
       split({{kPeel, 0.1, 0, 1, kNoCounts}, {kBody, 0.2, 0, 4, kNoCounts}, {kRemainder, 0.15, 0, 1, kNoCounts}}),
       {kIssue, peelRec(7, 1), peelRec(3, 1, partsBag(4, 0, 0, 1, 19)), peelRec(4, 1),
        peelRec(5, 1, partsBag(4, 0, 0, 1)), peelRec(6, 2, kCountsMissing), peelRec(1, 2, kCountsMissing)}},
      {"a vector remainder alone, with the too-few-iterations diagnostic: pad",
       split({{kRemainder, 0.2, 2, 4}}, [](CommonData& d) { d.vectorizationDiagnosticId = 15315; }),
       {issueWithImpact("-0.10375531"), peelRec(5, 1, partsBag(4, 8, 0, 1)), peelRec(1, 2, kCountsRan)}},
      {"the same without the diagnostic: only the loop count", split({{kRemainder, 0.2, 2, 4}}),
       {issueWithImpact("-0.10375531"), peelRec(1, 2, kCountsRan)}},
      {"a threaded loop without trip counts whose peel took time: the compiler's modifier, unsure",
       split({{kPeel, 0.01, 0, 1, kNoCounts}, {kBody, 1.0, 0, 4, kNoCounts}, {kRemainder, 0.01, 0, 1, kNoCounts}},
             kThreaded),
       {kIssue, peelRec(10, 1)}},
      {"no trip counts, a remainder above a quarter vector of the body: ask for counts",
       split({{kBody, 0.1, 0, 4, kNoCounts}, {kRemainder, 0.05, 0, 1, kNoCounts}}),
       {kIssue, peelRec(6, 2, kCountsMissing), peelRec(1, 1, kCountsMissing)}},
      {"the same under AVX-512: the trip count run alone",
       split({{kBody, 0.1, 0, 4, both(kNoCounts, kAvx512)},
              {kRemainder, 0.05, 0, 1, kNoCounts}}),
       {kIssue, peelRec(6, 2, kCountsMissing)}},
      {"a remainder above a tenth of the body but within a quarter vector of it: nothing",
       split({{kBody, 0.1, 0, 4, kNoCounts}, {kRemainder, 0.02, 0, 1, kNoCounts}}), {}},
      // Rows hold their parents by plain pointer: in the next two cases the
      // remainder's bottom-up list, which this detector doesn't read, keeps
      // the parent alive.
      {"a remainder examined under its split loop is no case of its own",
       [](Rows& r) {
         auto loop = splitLoop(r);
         auto remainder = part(r, loop, {kRemainder, 0.2, 3, 1});
         r.bottomUpChild(remainder, loop);
         r.examined = remainder;
       },
       {}},
      {"a remainder under a row that can't tell its kind is no case of its own",
       [](Rows& r) {
         auto remainder = r.add(kLoop | kRemainder, [](CommonData& d) {
           d.isRemainderPart = true;
           d.totalTime = 0.2;
           d.tripCountAverage = 3;
           d.tripCountsValid = true;
         });
         auto parent = r.addWithoutMetadata();
         r.treeChild(parent, remainder);
         r.bottomUpChild(remainder, parent);
       },
       {}},
  };
  runTable(cases, make<IssuePeelRemainder>());
}

// Loop misalignment

// 16 bytes of a vector loop: vmovupd ymm0, [rdi+rax*8]; vmulpd ymm0, ymm0,
// [rsi+rax*8]; add rax, 4; jne back.
const std::string kBody16 = "c5 fd 10 04 c7 c5 fd 59 04 c6 48 83 c0 04 75 f0";
// The same with a compare: 19 bytes.
const std::string kBody19 = "c5 fd 10 04 c7 c5 fd 59 04 c6 48 83 c0 04 48 39 c8 72 ed";
// Two bodies of 16 bytes, and the same with a nop: 32 and 33 bytes.
const std::string kBody32 = kBody16 + " " + kBody16;
const std::string kBody33 = kBody32 + " 90";

struct Placed {
  std::uint64_t address = 0x1008;
  const std::string* code = &kBody16;
  double time = 0.1;
  bool trips = true;
  std::uint64_t average = 500;
};

sptr_t<FakeRow> placed(Rows& r, const Placed& p, IMetadata::type_t type = kLoop | IMetadata::TypeInnermost) {
  sptr_t<FakeRow> row = r.add(type, [&](CommonData& d) {
    d.totalTime = p.time;
    d.fieldPresence[TripCountAverage] = p.trips;
    d.tripCountAverage = p.average;
  });
  r.provider->code[row.get()] = {hexBytes(*p.code), p.address};
  return row;
}

TEST_F(IssueDetectorTest, LoopMisalignment) {
  const std::vector<std::string> found = {issueLine("loop_misalignment_issue"), stemRec("align_loop", 1, "")};
  auto at = [](Placed p) { return [p](Rows& r) { placed(r, p); }; };
  auto onCpu = [](int cpu) {
    return [cpu](Rows& r) {
      return std::make_shared<IssueLoopMisalignment>(r.provider, static_cast<system_info::SystemInfo::CPUType>(cpu));
    };
  };
  runTable({{"16 bytes at 8 modulo 16 cross a block", at({}), found},
            {"16 bytes on a block boundary", at({.address = 0x1000}), {}},
            {"19 bytes fit no 16-byte block but cross a 32-byte one", at({.address = 0x1010, .code = &kBody19}), found},
            {"19 bytes inside one 32-byte block", at({.address = 0x1000, .code = &kBody19}), {}},
            {"32 bytes still fit one 32-byte block and cross one", at({.code = &kBody32}), found},
            {"33 bytes fit no block wherever they lie", at({.code = &kBody33}), {}},
            {"a total time of exactly 0.025 s counts", at({.time = 0.025}), found},
            {"0.0249 s is too cold", at({.time = 0.0249}), {}},
            {"three iterations are too few", at({.average = 3}), {}},
            {"four are enough on these processors", at({.average = 4}), found},
            {"without trip counts the count is not asked", at({.trips = false, .average = 0}), found},
            {"type 2048", [](Rows& r) { r.data(placed(r, {})).typeFlag2048 = true; }, {}},
            {"no code", [](Rows& r) { r.add(kLoop, [](CommonData& d) { d.totalTime = 1.0; }); }, {}},
            {"no loop", [](Rows& r) { placed(r, {}, 0); }, {}},
            {"a split loop with a misaligned part",
             [](Rows& r) {
               sptr_t<FakeRow> loop = r.add(kLoop | kSplit, [](CommonData& d) { d.isSplitLoop = true; });
               r.treeChild(loop, placed(r, {.address = 0x1000}));
               r.treeChild(loop, placed(r, {}));
             },
             found}},
           onCpu(10));
  runTable({{"1024 iterations hide the penalty elsewhere", at({.average = 1024}), {}},
            {"1025 do not", at({.average = 1025}), found}},
           onCpu(0));
}

// Register pressure

// A loop gcc 12 made of twenty accumulators (-O2 -mavx2): all sixteen ymm
// registers in use, four accumulators kept on the stack.
const std::string kSpillingLoop =
    "c57d59384883c250480580020000c4c17558cfc57d59b8a0fdffffc4410d58f7c57d59b8c0fdffffc505587c24a8c57d297c24a8c57d"
    "59b8e0fdffffc505587c2488c57d297c2488c57d59b800feffffc505587c24e8c57d297c24e8c57d59b820feffffc505587c24c8c57d"
    "297c24c8c57d59b840feffffc505587c2408c57d297c2408c57d59b860feffffc505587c2428c57d297c2428c57d59b880feffffc441"
    "1558efc57d59b8a0feffffc4411d58e7c57d59b8c0feffffc4412558dfc57d59b8e0feffffc4412d58d7c57d59b800ffffffc4413558"
    "cfc57d59b820ffffffc4413d58c7c57d59b840ffffffc4c14558ffc57d59b860ffffffc4c14d58f7c57d597880c4c15558efc57d5978"
    "a0c4c15d58e7c57d5978c0c4c16558dfc57d5978e0c4c16d58d74839d60f8fcffeffff";
// Several passes of the spilling loop: the same registers, 50 instructions a
// pass, three of them (two integer adds and the branch) of neither category
// the split advice weighs: a share of 0.06.
const std::string kSpillingLoop3 = kSpillingLoop + kSpillingLoop + kSpillingLoop;
const std::string kSpillingLoop4 = kSpillingLoop3 + kSpillingLoop;

auto pressured(const std::string& code, int unroll = 20, Tweak t = {}) {
  return [=](Rows& r) {
    sptr_t<FakeRow> row = r.add(kLoop | IMetadata::TypeInnermost, [&](CommonData& d) {
      d.fieldPresence[Field22] = true;
      d.fieldPresence[IsVectorized] = true;
      d.field22 = 2;
      d.isVectorized = true;
      d.isaType = system_info::SystemInfo::IsaAvx2;
      d.unrollFactor = unroll;
      if (t) t(d);
    });
    r.provider->code[row.get()] = {hexBytes(code), 0x404090};
  };
}

TEST_F(IssueDetectorTest, RegistersPressure) {
  const std::string issue = issueLine("registers_pressure_issue");
  runTable({{"all registers used, values round-trip through the stack: unroll less, sure", pressured(kSpillingLoop),
             {issue, stemRec("registers_pressure_rec_reduce_factor", 3, "_cpp")}},
            {"not unrolled, split already", pressured(kSpillingLoop, 1, [](CommonData& d) { d.loopFlags59 = 2; }), {}},
            {"not unrolled, too short to be worth splitting", pressured(kSpillingLoop, 1), {}},
            {"not unrolled, 150 instructions with a share of 0.06 are short of 160", pressured(kSpillingLoop3, 1), {}},
            {"not unrolled, 200 instructions with a share of 0.06: split it", pressured(kSpillingLoop4, 1),
             {issue, stemRec("registers_pressure_rec_split_loop", 3, "_cpp")}},
            {"free registers left", pressured(kBody16), {}},
            {"an AVX-512 loop has 32 registers",
             pressured(kSpillingLoop, 20, [](CommonData& d) { d.isaType = system_info::SystemInfo::IsaAvx512; }), {}},
            {"no code mode", pressured(kSpillingLoop, 20, [](CommonData& d) { d.fieldPresence[Field22] = false; }), {}},
            {"scalar", pressured(kSpillingLoop, 20, [](CommonData& d) { d.isVectorized = false; }), {}},
            {"split", pressured(kSpillingLoop, 20, [](CommonData& d) { d.isSplitLoop = true; }), {}},
            {"not innermost", pressured(kSpillingLoop, 20, [](CommonData& d) { d.isInnermostLoop = false; }), {}}},
           make<IssueRegistersPressure>());
}

// 512-bit shadow

TEST_F(IssueDetectorTest, ZmmShadow) {
  auto verdict = [](int diagnostic, bool fortran = false) {
    return [=](Rows& r) {
      sptr_t<FakeRow> row = r.add(kLoop, [&](CommonData& d) { d.isFortran = fortran; });
      r.provider->shadowDiagnostic[row.get()] = diagnostic;
    };
  };
  const std::string issue = issueLine("zmm_shadow_issue");
  const std::string off = stemRec("disable_zmm", 1, "");
  const std::string on = stemRec("enable_zmm", 1, "");
  runTable({{"512-bit vectors lose time", verdict(2), {issue, off}},
            {"they would gain", verdict(3), {issue, on}},
            {"they would gain, found elsewhere", verdict(4), {issue, on}},
            {"in Fortran", verdict(2, true), {issueLine("zmm_shadow_issue", 129), stemRec("disable_zmm", 1, "", true)}},
            {"no diagnosis", verdict(0), {}},
            {"no difference", verdict(1), {}},
            {"an unknown verdict", verdict(5), {}},
            {"a negative one", verdict(-1), {}}},
           make<IssueZmmShadow>());
}

}  // namespace
