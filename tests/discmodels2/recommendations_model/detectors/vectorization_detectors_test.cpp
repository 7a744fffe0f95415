// The vectorization detectors on prepared rows: which issue a row gets, with
// which keys, recommendations in order, confidence, flags and bags. Texts
// read as keys with their arguments (see issue_test_support.h).

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/vectorization/issue_assumed_dependency.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_cdi.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_compiler_diagnostics.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_need_for_simd.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_potential_vectorizability.h"
#include "tests/discmodels2/recommendations_model/detectors/issue_test_support.h"

namespace {

using namespace issue_tests;
using namespace data_models2::issues;
using system_info::SystemInfo;
namespace compiler_helpers = data_models2::compiler_helpers;

constexpr IMetadata::type_t kLoop = IMetadata::TypeLoop;
constexpr IMetadata::type_t kVectorized = 256;

// Need for SIMD

// An outer loop of a C++ build left scalar with 15541, one vectorized inner
// loop, every analysis present and no vote either way: it fires.
struct SimdLoop {
  int diagnostic = 15541;
  std::uint64_t innerLoops = 1;
  int dependency = 3;  // reduction only: no vote
  data_abstractions2::Strides strides{{50.0, 0.0, 0.0}, true};
  std::uint64_t tripCountAverage = 10;
  bool fortran = false;
  // The child loop: its type, efficiency (none when negative) and median
  // trip count (none when negative), then further scalar child loops.
  IMetadata::type_t childType = kLoop | kVectorized;
  double efficiency = 95.0;
  std::int64_t median = 1000;
  int plainChildren = 0;
};

sptr_t<FakeRow> simdLoop(Rows& r, const SimdLoop& s = {}) {
  return r.add(kLoop, [s](CommonData& d) {
    d.isInnermostLoop = false;
    d.fieldPresence[VectorizationDiagnosticId] = true;
    d.vectorizationDiagnosticId = s.diagnostic;
    d.innerLoopCount = s.innerLoops;
    d.dependencyPresence = s.dependency;
    d.strides = s.strides;
    d.tripCountAverage = s.tripCountAverage;
    d.isFortran = s.fortran;
  });
}

sptr_t<FakeRow> childLoop(Rows& r, const sptr_t<FakeRow>& parent, IMetadata::type_t type, double efficiency = 95.0,
                          std::int64_t median = 1000) {
  sptr_t<FakeRow> child = r.add(type);
  r.bottomUpChild(parent, child);
  if (efficiency >= 0) r.dataset->set(child, VectorEfficiency, efficiency);
  if (median >= 0) r.loops->medians[child.get()] = median;
  return child;
}

sptr_t<FakeRow> simdLoopWithChild(Rows& r, const SimdLoop& s = {}) {
  sptr_t<FakeRow> loop = simdLoop(r, s);
  childLoop(r, loop, s.childType, s.efficiency, s.median);
  for (int i = 0; i < s.plainChildren; ++i) childLoop(r, loop, kLoop);
  return loop;
}
auto simd(SimdLoop s = {}) {
  return [s](Rows& r) { simdLoopWithChild(r, s); };
}

const std::string kSimdIssue = issueLine("need_for_simd_issue");
const std::string kDisclaimer = "need_for_simd_disclaimer";

std::string forceRec(const std::string& stem, bool disclaimer, bool fortran = false) {
  return rec(stem + (fortran ? "_fortran" : ""), 1, stem + "_title",
             stem + (fortran ? "_text_fortran(" : "_text_cpp(") + (disclaimer ? kDisclaimer : "") + ")",
             disclaimer ? "{disclaimer{=1}}" : "{disclaimer{=0}}");
}
const std::string kOuterRec = forceRec("outer_vectorization_inner_not_vectorized_rec", false);

using NeedForSimdTest = IssueDetectorTest;
auto maker(bool tripCounts) {
  return [tripCounts](Rows& r) {
    return std::make_shared<IssueNeedForSimd>(r.provider, SystemInfo::IsaAvx2, SystemInfo::CpuUnknown, tripCounts,
                                              r.model);
  };
}

TEST_F(NeedForSimdTest, GatesInOrder) {
  auto tweaked = [](Tweak t) { return [t](Rows& r) { t(r.data(simdLoopWithChild(r))); }; };
  runTable({{"fires", simd(), {kSimdIssue, kOuterRec}},
            {"marked row", tweaked([](CommonData& d) { d.typeFlag1024 = true; }), {}},
            {"vectorized", tweaked([](CommonData& d) { d.isVectorized = true; }), {}},
            {"type 16384", tweaked([](CommonData& d) { d.typeFlag16384 = true; }), {}},
            {"no diagnostic field, value set",
             tweaked([](CommonData& d) { d.fieldPresence[VectorizationDiagnosticId] = false; }), {}},
            {"diagnostic outside the table", tweaked([](CommonData& d) { d.vectorizationDiagnosticId = 15344; }), {}},
            {"15541 with two inner loops", tweaked([](CommonData& d) { d.innerLoopCount = 2; }), {}},
            {"15541 with no inner loop", tweaked([](CommonData& d) { d.innerLoopCount = 0; }), {}},
            {"15533 with two inner loops", simd({.diagnostic = 15533, .innerLoops = 2}),
             {kSimdIssue, forceRec("complex_loop_vectorization_rec", false)}},
            {"15533 with no inner loop", simd({.diagnostic = 15533, .innerLoops = 0}), {}},
            {"15542 passes every gate yet yields nothing", simd({.diagnostic = 15542}), {}},
            {"no vectorized child loop", simd({.childType = kLoop}), {}},
            {"children that are no loops, null or without metadata are skipped",
             [](Rows& r) {
               sptr_t<FakeRow> loop = simdLoopWithChild(r, {.childType = kVectorized});
               r.bottomUpChild(loop, row_t());
               r.bottomUpChild(loop, r.addWithoutMetadata());
             },
             {}},
            {"three child loops", simd({.plainChildren = 2}), {kSimdIssue, kOuterRec}},
            {"four child loops", simd({.plainChildren = 3}), {}},
            {"proven dependency drops the issue", simd({.dependency = 2}), {}},
            {"Fortran", simd({.fortran = true}),
             {issueLine("need_for_simd_issue", 129),
              forceRec("outer_vectorization_inner_not_vectorized_rec", false, true)}}},
           maker(true));
}

TEST_F(NeedForSimdTest, MissingAnalysesComeFirstAndSetTheDisclaimer) {
  const std::string tripRec =
      stemRec("need_for_simd_rec_run_trip_count", 1, "", false, "{no_tripcounts_disclaimer{=1}}");
  const std::string correctnessRec =
      stemRec("need_for_simd_rec_run_correctness", 1, "", false, "{no_dependency_disclaimer{=1}}");
  const std::string mapRec = stemRec("need_for_simd_rec_run_map", 1, "", false, "{no_map_disclaimer{=1}}");
  const std::string withDisclaimer = forceRec("outer_vectorization_inner_not_vectorized_rec", true);
  runTable({{"no dependency data", simd({.dependency = 0}), {kSimdIssue, correctnessRec, withDisclaimer}},
            {"no access patterns", simd({.strides = {}}), {kSimdIssue, mapRec, withDisclaimer}}},
           maker(true));
  // Without trip counts the trip-count votes are not taken: a loop that
  // needs them to stay positive drops out.
  runTable({{"no trip counts", simd(), {kSimdIssue, tripRec, withDisclaimer}},
            {"all three missing", simd({.dependency = 0, .strides = {}}),
             {kSimdIssue, tripRec, correctnessRec, mapRec, withDisclaimer}},
            {"a proven dependency drops the issue with the advice already on it", simd({.dependency = 2}), {}},
            {"a negative score is not saved by trip counts",
             simd({.strides = {{0.0, 0.0, 5.0}, true}, .tripCountAverage = 2000, .median = 10}), {}}},
           maker(false));
}

// Irregular strides take one vote away; each case adds at most one back.
TEST_F(NeedForSimdTest, VotesAgainstIrregularStrides) {
  const data_abstractions2::Strides irregular{{50.0, 0.0, 0.1}, true};
  auto loopWithChild = [irregular](double efficiency, std::int64_t median, std::uint64_t average = 100,
                                   int dependency = 3) {
    return simd({.dependency = dependency, .strides = irregular, .tripCountAverage = average, .efficiency = efficiency,
                 .median = median});
  };
  // An integer efficiency converts by its value, a text one counts as 0.
  auto efficiencyOf = [irregular](variant_t efficiency) {
    return [=](Rows& r) {
      r.dataset->set(childLoop(r, simdLoop(r, {.strides = irregular}), kLoop | kVectorized, -1.0), VectorEfficiency,
                     efficiency);
    };
  };
  runTable({{"no vote", loopWithChild(95.0, 1000), {}},
            {"efficiency 89.99 votes", loopWithChild(89.99, 1000), {kSimdIssue, kOuterRec}},
            {"efficiency 90 does not", loopWithChild(90.0, 1000), {}},
            {"no efficiency read: no vote", loopWithChild(-1.0, 1000), {}},
            {"trip count covering the child's votes", loopWithChild(95.0, 100), {kSimdIssue, kOuterRec}},
            {"one iteration short does not", loopWithChild(95.0, 101), {}},
            {"no own trip count does not", loopWithChild(95.0, 0, 0), {}},
            {"dependency data without dependency votes", loopWithChild(95.0, 1000, 100, 1), {kSimdIssue, kOuterRec}},
            {"a split child counts its parts' trip counts, marked parts left out",
             [irregular](Rows& r) {
               sptr_t<FakeRow> loop = simdLoop(r, {.strides = irregular, .tripCountAverage = 100});
               sptr_t<FakeRow> split = childLoop(r, loop, kLoop | kVectorized | IMetadata::TypeSplitLoop, 95.0, 5000);
               for (auto [type, median] : {std::pair<IMetadata::type_t, std::int64_t>{kLoop, 60},
                                           {kLoop, 40},
                                           {kLoop | IMetadata::TypeMarked, 900}}) {
                 sptr_t<FakeRow> part = r.add(type);
                 r.loops->medians[part.get()] = median;
                 r.treeChild(split, part);
               }
             },
             {kSimdIssue, kOuterRec}},
            {"text efficiency votes", efficiencyOf("fast"), {kSimdIssue, kOuterRec}},
            {"integer efficiency 90 does not vote", efficiencyOf(std::uint32_t{90}), {}}},
           maker(true));
}

// Potential vectorizability

// The summary mix: total, memory, compute and mixed instructions; none when
// empty.
sptr_t<FakeRow> builtBy(Rows& r, const std::string& compiler, const std::string& version, const std::string& flags,
                        std::vector<std::int64_t> mix = {10, 3, 4, 1}) {
  sptr_t<FakeRow> row = r.add(kLoop | IMetadata::TypeInnermost, [&](CommonData& d) {
    d.fieldPresence[CompilerName] = true;
    d.fieldPresence[CompilerVersion] = true;
    d.compilerName = compiler;
    d.compilerVersionText = version;
    d.compilerFlags = flags;
    d.isVorexCompiler = compiler.find("vorex") != std::string::npos;
  });
  if (!mix.empty()) r.model->mixes[MixSummary] = {{9, mix[0]}, {5, mix[1]}, {1, mix[2]}, {45, mix[3]}};
  return row;
}

TEST_F(IssueDetectorTest, PotentialVectorizability) {
  const std::string issue = issueLine("vectorizability_issue", 66);
  const std::string explore = rec("explore_vectorization", 1, "compiler_diag_rec_title", "explore_vectorization_text");
  const std::string enable =
      rec("enable_autovectorization", 1, "compiler_diag_rec_title", "enable_autovectorization_text");
  auto gcc = [](const char* version, const char* flags) {
    return [=](Rows& r) { builtBy(r, "gnu c++17 12.2.0", version, flags); };
  };
  runTable({{"gcc -O3", gcc("gnu c++17 12.2.0", "-O3 -march=native"), {issue, explore}},
            {"gcc -O2 without -ftree-vectorize", gcc("gnu c++17 12.2.0 -o2", "-O2"), {issue, enable}},
            // The fill lowers the version text, where "-O2" is looked for.
            {"gcc -O2 -ftree-vectorize in the lowered version text", gcc("gnu c++17 -o2 -ftree-vectorize", "-O2"),
             {issue, enable}},
            {"gcc options in a version text not lowered", gcc("GNU C++17 -O2 -ftree-vectorize", ""), {issue, explore}},
            {"microsoft /O2", [](Rows& r) { builtBy(r, "microsoft c/c++ 19.3", "19.3", "/O2 /fp:fast"); },
             {issue, explore}},
            {"microsoft /Od", [](Rows& r) { builtBy(r, "microsoft c/c++ 19.3", "19.3", "/Od"); }, {issue, enable}},
            {"Fortran keeps its language only in the flags",
             [](Rows& r) { r.data(builtBy(r, "gnu fortran", "12.2", "-O3")).isFortran = true; },
             {issueLine("vectorizability_issue", 130),
              rec("explore_vectorization_fortran", 1, "compiler_diag_rec_title", "explore_vectorization_text")}},
            {"the Vorex compiler has its diagnostics", [](Rows& r) { builtBy(r, "vorex c++", "2023.1", "-O3"); }, {}},
            {"no compiler name",
             [](Rows& r) { r.data(builtBy(r, "gnu", "12", "-O3")).fieldPresence[CompilerName] = false; }, {}},
            {"no compiler version",
             [](Rows& r) { r.data(builtBy(r, "gnu", "12", "-O3")).fieldPresence[CompilerVersion] = false; }, {}},
            {"vectorized already", [](Rows& r) { r.data(builtBy(r, "gnu", "12", "-O3")).isVectorized = true; }, {}},
            {"an inner loop inside", [](Rows& r) { r.data(builtBy(r, "gnu", "12", "-O3")).innerLoopCount = 1; }, {}},
            {"a compiler's reason against it",
             [](Rows& r) { r.dataset->set(builtBy(r, "gnu", "12", "-O3"), Field146, true); }, {}},
            {"compute at exactly 0.33 of memory", [](Rows& r) { builtBy(r, "gnu", "12", "-O3", {200, 100, 33, 0}); },
             {}},
            {"compute just above 0.33 of memory", [](Rows& r) { builtBy(r, "gnu", "12", "-O3", {200, 100, 30, 4}); },
             {issue, explore}},
            {"no summary mix", [](Rows& r) { builtBy(r, "gnu", "12", "-O3", {}); }, {}}},
           [](Rows& r) { return std::make_shared<IssuePotentialVectorizability>(r.provider, r.model); });
  runTable({{"no survey model", gcc("gnu", "-O3"), {}}},
           [](Rows& r) { return std::make_shared<IssuePotentialVectorizability>(r.provider, nullptr); });
}

// Compiler diagnostics

struct Diagnosed {
  int number;
  bool fortran = false;
  compiler_helpers::CompilerVersion version{2023, 1, 0};
};

sptr_t<FakeRow> diagnosed(Rows& r, const Diagnosed& d) {
  return r.add(kLoop, [d](CommonData& data) {
    data.isVorexCompiler = true;
    data.fieldPresence[VectorizationDiagnosticId] = true;
    data.vectorizationDiagnosticId = d.number;
    data.isFortran = d.fortran;
    data.compilerVersion = d.version;
  });
}

// The documented issue of `n`, its text keys ending in `issueForm` and
// `recForm`, with the example and reading texts of `textOf` (`n` unless
// given) in the row's language `lang`.
std::vector<std::string> documented(int n, const std::string& issueForm, const std::string& recForm,
                                    const std::string& lang, bool fortran = false, int textOf = 0,
                                    const std::string& exampleVariant = "") {
  const std::string num = std::to_string(n);
  const std::string of = std::to_string(textOf ? textOf : n);
  return {line("compiler_diag_issue_" + num, fortran ? 130 : 66, "compiler_diag_issue_" + num + "_title",
               "compiler_diag_issue_" + num + "_text" + issueForm + "(compiler_diag_example_" + of + lang +
                   exampleVariant + ")"),
          rec("compiler_diag_rec_" + num, 1, "compiler_diag_rec_title",
              "compiler_diag_rec_" + num + "_text" + recForm + "(compiler_diag_read_more_" + of + lang + ")")};
}

TEST_F(IssueDetectorTest, CompilerDiagnostics) {
  auto row = [](Diagnosed d) { return [d](Rows& r) { diagnosed(r, d); }; };
  const std::vector<std::string> call15382 = documented(15382, "_c", "_c", "_c");
  const std::vector<std::string> pre161 = documented(15520, "_pre16.1", "_c_pre16.1", "_c", false, 0, "_pre16.1");
  std::string message;
  compiler_helpers::getCompilerNonVectorizationMessage(15326, message);
  runTable({{"a plain documented number", row({15344}), documented(15344, "", "", "_c")},
            {"Fortran", row({15344, true}), documented(15344, "", "", "_f", true)},
            {"language texts", row({15341, true}), documented(15341, "_f", "_f", "_f", true)},
            {"15521 is read as 15523, id included", row({15521}), documented(15523, "_c", "_c", "_c")},
            {"15383 is read as 15382", row({15383}), call15382},
            {"15527 is read as 15382", row({15527}), call15382},
            {"15543 without a vectorized child is 15382", row({15543}), call15382},
            {"15543 with a vectorized child says 15542 with the example of the call",
             [](Rows& r) {
               sptr_t<FakeRow> loop = diagnosed(r, {15543});
               r.bottomUpChild(loop, row_t());  // a null entry is read as an unfilled row
               r.bottomUpChild(loop, r.add(kLoop, [](CommonData& d) { d.isVectorized = true; }));
             },
             documented(15542, "", "", "_c", false, 15382)},
            {"15543 with a vectorized child that is no loop",
             [](Rows& r) {
               sptr_t<FakeRow> loop = diagnosed(r, {15543});
               r.bottomUpChild(loop, r.add(kLoop, [](CommonData& d) {
                 d.isVectorized = true;
                 d.isLoop = false;
               }));
             },
             call15382},
            {"15520 on a compiler up to 16.0.0", row({15520, false, {16, 0, 0}}), pre161},
            {"15520 of an unknown version counts as old", row({15520, false, {}}), pre161},
            {"15520 from 16.0.1 on", row({15520, false, {16, 0, 1}}), documented(15520, "", "_c", "_c")},
            {"15520 in Fortran is never pre16.1", row({15520, true, {15, 0, 0}}),
             documented(15520, "", "_f", "_f", true)},
            {"an undocumented number is titled by the compiler's message", row({15326}),
             {line("compiler_diag_issue_15326", 578, message, "")}},
            {"another compiler", [](Rows& r) { r.data(diagnosed(r, {15344})).isVorexCompiler = false; }, {}},
            {"no diagnostic field",
             [](Rows& r) { r.data(diagnosed(r, {15344})).fieldPresence[VectorizationDiagnosticId] = false; }, {}}},
           [](Rows& r) { return std::make_shared<IssueCompilerDiagnostics>(r.provider); });
}

// 15333 is documented only once a C-family row has come by, for the rest of
// the process; the check runs in a fresh process of its own.
TEST(CompilerDiagnosticsOrderTest, FortranLearns15333FromTheFirstCFamilyRow) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        data_models2::issues::setCatalogForTesting(nullptr);  // texts are keys
        auto provider = std::make_shared<IssueProvider>();
        Rows rows(provider);
        IssueCompilerDiagnostics detector(provider);
        const row_t fortran = diagnosed(rows, {15333, true});
        const row_t cFamily = diagnosed(rows, {15344});
        const std::string before = run(detector, fortran).at(0);
        run(detector, cFamily);
        const std::vector<std::string> after = run(detector, fortran);
        const bool ok = before.find("[642]") != std::string::npos && after.size() == 2 &&
                        after[0].find("[130] compiler_diag_issue_15333_title") != std::string::npos &&
                        after[1].find("compiler_diag_rec_15333 c1") != std::string::npos;
        std::exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

// Assumed dependency

sptr_t<FakeRow> assumed(Rows& r, int presence, bool fortran = false) {
  return r.add(kLoop, [=](CommonData& d) {
    d.fieldPresence[VectorizationDiagnosticId] = true;
    d.fieldPresence[FuncInstIdx] = true;
    d.vectorizationDiagnosticId = 15344;
    d.dependencyPresence = presence;
    d.isFortran = fortran;
  });
}

TEST_F(IssueDetectorTest, AssumedDependency) {
  const std::string issue = line("assumed_dependency_issue", 69, "assumed_dependency_issue_title",
                                 "assumed_dependency_issue_text");
  auto advice = [](const std::string& stem, const std::string& bag = "", bool fortran = false) {
    return rec("assumed_dependency_" + stem + (fortran ? "_fortran" : ""), 2, "assumed_dependency_" + stem + "_title",
               "", bag);
  };
  auto presence = [](int p, bool fortran = false) { return [=](Rows& r) { assumed(r, p, fortran); }; };
  auto tweaked = [](Tweak t) { return [t](Rows& r) { t(r.data(assumed(r, 1))); }; };
  runTable({{"no dependency data", presence(0),
             {issue, advice("rec_run_correctness", "{no_dependency_disclaimer{=1}}")}},
            {"no dependency found", presence(1), {issue, advice("rec_enable_vec")}},
            {"a dependency found: only the proven issue", presence(2),
             {line("proven_dependency_issue", 69, "proven_dependency_issue_title", "assumed_dependency_issue_text"),
              advice("rec_vectorlen")}},
            {"a reduction only", presence(3), {issue, advice("reduction")}},
            {"an unknown presence: the issue alone", presence(7), {issue}},
            {"Fortran", presence(1, true),
             {line("assumed_dependency_issue", 133, "assumed_dependency_issue_title", "assumed_dependency_issue_text"),
              advice("rec_enable_vec", "", true)}},
            {"no loop", tweaked([](CommonData& d) { d.isLoop = false; }), {}},
            {"vectorized", tweaked([](CommonData& d) { d.isVectorized = true; }), {}},
            {"split", tweaked([](CommonData& d) { d.isSplitLoop = true; }), {}},
            {"no diagnostic field",
             tweaked([](CommonData& d) { d.fieldPresence[VectorizationDiagnosticId] = false; }), {}},
            {"no function instance", tweaked([](CommonData& d) { d.fieldPresence[FuncInstIdx] = false; }), {}},
            {"another diagnostic", tweaked([](CommonData& d) { d.vectorizationDiagnosticId = 15346; }), {}}},
           make<IssueAssumedDependency>());
}

// CDI

TEST_F(IssueDetectorTest, CDI) {
  auto withMix = [](IMetadata::type_t type, InstructionMix mix, bool fortran = false) {
    return [=](Rows& r) {
      r.add(type, [&](CommonData& d) {
        d.instructionMix = mix;
        d.isFortran = fortran;
      });
    };
  };
  constexpr IMetadata::type_t kInnermost = kLoop | IMetadata::TypeInnermost;
  constexpr IMetadata::type_t kVector = kInnermost | kVectorized;
  const InstructionMix fires = {{77, std::int64_t{3}}, {78, std::int64_t{0}}};
  const std::vector<std::string> found = {issueLine("cdi_issue"), stemRec("add_ivdep", 1, "_cpp")};
  runTable({{"vectorized innermost", withMix(kVector, fires), found},
            {"type 4096 innermost", withMix(kInnermost | 4096, fires), found},
            {"real counts", withMix(kInnermost | 4096, {{77, 0.5}, {78, 0.0}}), found},
            {"Fortran", withMix(kVector, fires, true),
             {issueLine("cdi_issue", 129), stemRec("add_ivdep", 1, "_fortran", true)}},
            {"neither vectorized nor 4096", withMix(kInnermost, fires), {}},
            {"not innermost", withMix(kLoop | kVectorized, fires), {}},
            {"split", withMix(kVector | IMetadata::TypeSplitLoop, fires), {}},
            {"no metadata", [](Rows& r) { r.addWithoutMetadata(); }, {}},
            {"empty mix", withMix(kVector, {}), {}},
            {"column 77 absent", withMix(kVector, {{78, std::int64_t{0}}}), {}},
            {"column 78 absent", withMix(kVector, {{77, std::int64_t{3}}}), {}},
            {"column 77 at 0", withMix(kVector, {{77, std::int64_t{0}}, {78, std::int64_t{0}}}), {}},
            {"column 77 negative", withMix(kVector, {{77, std::int64_t{-1}}, {78, std::int64_t{0}}}), {}},
            {"column 77 unsigned, negative as signed",
             withMix(kVector, {{77, ~std::uint64_t{0}}, {78, std::uint64_t{0}}}), {}},
            {"column 78 counted", withMix(kVector, {{77, std::int64_t{3}}, {78, std::int64_t{1}}}), {}},
            {"a text count passes neither test", withMix(kVector, {{77, "3"}, {78, std::int64_t{0}}}), {}}},
           make<IssueCDI>());
}

TEST_F(IssueDetectorTest, NoRowOrProviderMakesNothing) {
  auto provider = std::make_shared<IssueProvider>();
  Rows rows(provider);
  const row_t row = simdLoopWithChild(rows);
  const std::shared_ptr<IssueDetector> detectors[] = {
      std::make_shared<IssueCDI>(nullptr),
      std::make_shared<IssueCompilerDiagnostics>(nullptr),
      std::make_shared<IssueAssumedDependency>(nullptr),
      std::make_shared<IssuePotentialVectorizability>(nullptr, rows.model),
      std::make_shared<IssueNeedForSimd>(nullptr, SystemInfo::IsaNone, SystemInfo::CpuUnknown, true, rows.model),
  };
  for (const auto& detector : detectors) EXPECT_TRUE(run(*detector, row).empty());
  EXPECT_TRUE(run(IssueNeedForSimd(provider, SystemInfo::IsaNone, SystemInfo::CpuUnknown, true, rows.model), row_t())
                  .empty());
}

}  // namespace
