// The detectors of what a loop calls, on prepared rows: user and system
// functions, indirect calls, the OpenMP runtime, vector function variants
// and serial standard algorithms. Texts read as keys with their arguments
// (see issue_test_support.h).

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/calls/issue_indirect_calls.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_open_mp.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_serialized_user_functions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_stl_algorithms.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_system_functions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_user_functions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_vector_function_attributes.h"
#include "tests/discmodels2/recommendations_model/detectors/issue_test_support.h"

namespace {

using namespace issue_tests;
using namespace data_models2::issues;
using system_info::SystemInfo;

// User functions, serialized or keeping the loop scalar

struct Caller {
  bool vectorized = false;
  bool innermost = true;
  bool split = false;
  bool bodyPart = true;
  bool callsUser = true;
  const char* flags = "-O2";
  int diagnostic = 15543;
  bool fortran = false;
};

auto caller(Caller c) {
  return [c](Rows& r) {
    r.add(IMetadata::TypeLoop, [&](CommonData& d) {
      d.isVectorized = c.vectorized;
      d.isInnermostLoop = c.innermost;
      d.isSplitLoop = c.split;
      d.isVectorBodyPart = c.bodyPart;
      d.callsUserFunctions = c.callsUser;
      d.compilerFlags = c.flags;
      d.vectorizationDiagnosticId = c.diagnostic;
      d.isFortran = c.fortran;
      d.userFunctionNames = {"weight", "clamp"};
    });
  };
}

const std::string kFunctions = "{user_functions{arrayOf=item,item{=clamp},item{=weight}}}";
const std::string kUserIssue = issueLine("user_functions_prevent_vectorization_issue");
const std::string kUserInline = stemRec("user_function_prevent_vectorization_rec_enable_inlining", 1, "");
const std::string kUserSimd = stemRec("user_function_prevent_vectorization_rec_try_simd", 1, "_cpp", false, kFunctions);
const std::string kUserSimdForced =
    stemRec("user_function_prevent_vectorization_rec_try_simd_f", 1, "_cpp", false, kFunctions);

TEST_F(IssueDetectorTest, UserFunctions) {
  runTable({{"scalar innermost loop calling user functions", caller({}), {kUserIssue, kUserSimd}},
            {"inlining off and an assumed dependency: three in order",
             caller({.flags = "-O2 -inline-level=0", .diagnostic = 15344}),
             {kUserIssue, kUserInline, kUserSimd, kUserSimdForced}},
            {"/Ob0 switches inlining off", caller({.flags = "/O2 /Ob0"}), {kUserIssue, kUserInline, kUserSimd}},
            {"Fortran", caller({.fortran = true}),
             {issueLine("user_functions_prevent_vectorization_issue", 129),
              stemRec("user_function_prevent_vectorization_rec_try_simd", 1, "_fortran", true, kFunctions)}},
            {"vectorized", caller({.vectorized = true}), {}},
            {"not innermost", caller({.innermost = false}), {}},
            {"split", caller({.split = true}), {}},
            {"not the vector body", caller({.bodyPart = false}), {}},
            {"no user calls", caller({.callsUser = false}), {}}},
           make<IssueUserFunctions>());
}

TEST_F(IssueDetectorTest, SerializedUserFunctions) {
  const std::string issue = issueLine("serialized_user_function_issue");
  const std::string simd = stemRec("serialized_user_function_rec_try_simd", 3, "_cpp", false, kFunctions);
  runTable({{"vectorized loop calling user functions",
             caller({.vectorized = true, .innermost = false, .bodyPart = false}), {issue, simd}},
            {"inlining off", caller({.vectorized = true, .flags = "-Ob0"}),
             {issue, stemRec("serialized_user_function_rec_enable_inlining", 1, ""), simd}},
            {"scalar", caller({}), {}},
            {"split", caller({.vectorized = true, .split = true}), {}},
            {"no user calls", caller({.vectorized = true, .callsUser = false}), {}}},
           make<IssueSerializedUserFunctions>());
}

// System functions

TEST_F(IssueDetectorTest, SystemFunctions) {
  auto loop = [](Tweak t) {
    return [t](Rows& r) { r.add(IMetadata::TypeLoop, both([](CommonData& d) { d.callsSystemFunctions = true; }, t)); };
  };
  runTable({{"scalar innermost loop reaching system functions", loop({}),
             {issueLine("system_functions_issue"), stemRec("system_functions_rec_move", 1, "_cpp")}},
            {"vectorized", loop([](CommonData& d) { d.isVectorized = true; }), {}},
            {"not innermost", loop([](CommonData& d) { d.isInnermostLoop = false; }), {}},
            {"no system calls", loop([](CommonData& d) { d.callsSystemFunctions = false; }), {}},
            {"a memory routine put in by the compiler", loop([](CommonData& d) { d.hasMemop = true; }), {}},
            {"system calls made directly", loop([](CommonData& d) { d.callsSystemFunctionsDirectly = true; }), {}}},
           make<IssueSystemFunctions>());
}

// Indirect calls

class IndirectWalk : public data_models2::AssemblerRowVisitHandler {
 public:
  explicit IndirectWalk(bool found) : AssemblerRowVisitHandler(nullptr, nullptr, nullptr, 2) {
    setIndirectCallFound(found);
  }
};

struct Indirect {
  bool walk = true;
  bool found = true;
  bool cppNames = false;
  bool vorex = true;
  int major = 2023;
  std::set<data_models2::GlibcVer> glibc = {{2, 31}};
};

auto indirect(Indirect i, Tweak t = {}) {
  return [i, t](Rows& r) {
    sptr_t<FakeRow> row = r.add(IMetadata::TypeLoop, [&](CommonData& d) {
      d.callsUserFunctions = true;
      d.hasCppNames = i.cppNames;
      d.isVorexCompiler = i.vorex;
      d.compilerVersion = {i.major, 0, 0};
      d.glibcVersions = i.glibc;
      if (t) t(d);
    });
    if (i.walk) r.provider->assemblerVisits[row.get()] = foundation::pool_allocate<IndirectWalk>(i.found);
  };
}

TEST_F(IssueDetectorTest, IndirectCalls) {
  const std::string issue = issueLine("indirect_call_issue", 65, "indirect_call_issue_text_cpp");
  const std::string move = stemRec("indirect_call_rec_move", 1, "_cpp");
  const std::string simd = stemRec("indirect_call_rec_simd", 1, "");
  const std::string proxy = stemRec("indirect_call_rec_proxy", 1, "");
  const std::string branch = stemRec("indirect_call_rec_branch_prediction", 1, "");
  const Tweak noUserCalls = [](CommonData& d) { d.callsUserFunctions = false; };
  const Tweak outer = [](CommonData& d) { d.isInnermostLoop = false; };
  auto onMachine = [](int value) {
    return [value](Rows& r) {
      return std::make_shared<IssueIndirectCalls>(r.provider, static_cast<SystemInfo::IsaExtensions>(value));
    };
  };
  runTable({{"an indirect call: move it", indirect({}), {issue, move}},
            {"C++ names on a Vorex compiler 17: vector variants and the proxy",
             indirect({.cppNames = true, .major = 17}), {issue, simd, proxy}},
            {"C++ names on a Vorex compiler 16: move and the proxy", indirect({.cppNames = true, .major = 16}),
             {issue, move, proxy}},
            {"C++ names on another compiler 17", indirect({.cppNames = true, .vorex = false, .major = 17}),
             {issue, move, proxy}},
            {"system calls reached count as calls",
             indirect({}, both(noUserCalls, [](CommonData& d) { d.callsSystemFunctions = true; })), {issue, move}},
            {"Fortran texts", indirect({}, [](CommonData& d) { d.isFortran = true; }),
             {issueLine("indirect_call_issue", 129, "indirect_call_issue_text_fortran"),
              stemRec("indirect_call_rec_move", 1, "_fortran", true)}},
            {"no calls", indirect({}, noUserCalls), {}},
            {"system calls made directly",
             indirect({}, [](CommonData& d) { d.callsSystemFunctionsDirectly = true; }), {}},
            {"split", indirect({}, [](CommonData& d) { d.isSplitLoop = true; }), {}},
            {"scalar outer loop", indirect({}, outer), {}},
            {"vectorized outer loop", indirect({}, both(outer, [](CommonData& d) { d.isVectorized = true; })),
             {issue, move}},
            {"no indirect call in the code", indirect({.found = false}), {}},
            {"no walk possible", indirect({.walk = false}), {}}},
           onMachine(10));
  runTable({{"machine 14 with an old C library", indirect({.glibc = {{2, 22}}}), {issue, move, branch}},
            {"machine 14 without a known C library", indirect({.glibc = {}}), {issue, move, branch}},
            {"machine 14 with 2.23 among them", indirect({.glibc = {{2, 17}, {2, 23}}}), {issue, move}},
            {"machine 14 with a newer major", indirect({.glibc = {{3, 0}}}), {issue, move}}},
           onMachine(14));
}

// OpenMP runtime calls

TEST_F(IssueDetectorTest, OpenMP) {
  auto calls = [](unsigned flags, Tweak t = {}) {
    return [=](Rows& r) { r.add(IMetadata::TypeLoop, both([=](CommonData& d) { d.threadingCallFlags = flags; }, t)); };
  };
  const std::string issue = issueLine("omp_prevents_vect_issue");
  const Tweak vectorized = [](CommonData& d) { d.isVectorized = true; };
  const Tweak split = [](CommonData& d) { d.isSplitLoop = true; };
  const std::string thread = stemRec("omp_prevents_vect_rec_thread_func", 1, "_cpp");
  const std::string lock = stemRec("omp_prevents_vect_rec_lock_func", 1, "_cpp");
  runTable({{"thread calls", calls(3), {issue, thread}},
            {"thread and lock calls: threads only", calls(7), {issue, thread}},
            {"lock calls", calls(5), {issue, lock}},
            {"runtime calls of neither kind", calls(1), {}},
            {"no runtime calls", calls(0), {}},
            {"vectorized", calls(3, vectorized), {issue, thread}},
            {"vectorized and split", calls(3, both(vectorized, split)), {}},
            {"scalar innermost and split", calls(3, split), {issue, thread}}},
           make<IssueOpenMP>());
}

// Vector function attributes

struct Callee {
  const char* mangled;
  const char* classes = "";
  bool hasName = true;
  bool hasIsa = true;
  bool hasMangled = true;
};

auto vectorLoop(const char* isa, std::vector<Callee> callees, bool fortran = false, Tweak t = {}) {
  return [=](Rows& r) {
    sptr_t<FakeRow> loop = r.add(IMetadata::TypeLoop, [&](CommonData& d) {
      d.isVectorized = true;
      d.isaName = isa;
      d.isFortran = fortran;
      if (t) t(d);
    });
    for (const Callee& c : callees) {
      r.bottomUpChild(loop, r.add(0, [&](CommonData& d) {
        d.isLoop = false;
        d.mangledName = c.mangled;
        d.instructionSets = c.classes;
        d.fieldPresence[FunctionName] = c.hasName;
        d.fieldPresence[Isa] = c.hasIsa;
        d.fieldPresence[MangledName] = c.hasMangled;
      }));
    }
  };
}

TEST_F(IssueDetectorTest, VectorFunctionAttributes) {
  const std::string issue = issueLine("vector_function_attr_issue", 65, "vector_function_attr_issue_text_cpp");
  const std::string issueF = issueLine("vector_function_attr_issue", 129, "vector_function_attr_issue_text_fortran");
  const std::string cpu = stemRec("add_processor_specification", 3, "_cpp", false, "", 9);
  const std::string cpuF = stemRec("add_processor_specification", 3, "_fortran", true, "", 9);
  const std::string linear = stemRec("add_linear_ref", 1, "", true, "", 9);
  // _ZGVe: built for AVX-512; _ZGVb: for SSE.
  const Callee avx512{"_ZGVeN8v_weight"};
  const Callee sse{"_ZGVbN2v_weight"};
  runTable({{"a variant for a newer set than the loop's", vectorLoop("avx2", {avx512}), {issue, cpu}},
            {"once per callee that earns it", vectorLoop("avx2", {avx512, sse, avx512}), {issue, cpu, cpu}},
            {"a variant for an older set", vectorLoop("avx2", {sse}), {}},
            {"the same set", vectorLoop("avx512", {avx512}), {}},
            {"the loop's set unknown", vectorLoop("", {avx512}), {}},
            {"a name that is no vector variant", vectorLoop("avx2", {{"_Z6weightd"}}), {}},
            {"a callee without a function name", vectorLoop("avx2", {{"_ZGVeN8v_weight", "", false}}), {}},
            {"a callee without its instruction set", vectorLoop("avx2", {{"_ZGVeN8v_weight", "", true, false}}), {}},
            {"Fortran: a by-value parameter of a gathering variant",
             vectorLoop("avx2", {{"_ZGVeN8vu_weight", "AVX512; Gathers"}}, true), {issueF, cpuF, linear}},
            {"Fortran: linear and uniform parameters need no reference",
             vectorLoop("avx512", {{"_ZGVeN8lu_weight", "Gathers"}}, true), {}},
            {"Fortran: no gathers, no reference", vectorLoop("avx512", {{"_ZGVeN8v_weight", "AVX512"}}, true), {}},
            {"C-family code gets no linear reference", vectorLoop("avx512", {{"_ZGVeN8v_weight", "Gathers"}}), {}},
            {"a scalar loop", vectorLoop("avx2", {avx512}, false, [](CommonData& d) { d.isVectorized = false; }), {}},
            {"a split loop", vectorLoop("avx2", {avx512}, false, [](CommonData& d) { d.isSplitLoop = true; }), {}},
            {"no callees", vectorLoop("avx2", {}), {}}},
           make<IssueVectorFunctionAttributes>());
}

// Serial standard algorithms

struct Algorithm {
  const char* name = "void std::for_each<int*, Scale>(int*, int*, Scale)";
  double selfTime = 0.01;
  bool withTotal = true;
  bool special = false;  // type 16384
};

sptr_t<FakeRow> functionRow(Rows& r, const char* name) {
  return r.add(0, [&](CommonData& d) {
    d.isLoop = false;
    d.functionName = name;
  });
}

sptr_t<FakeRow> algorithmRow(Rows& r, const Algorithm& a) {
  return r.add(0, [&](CommonData& d) {
    d.isLoop = false;
    d.functionName = a.name;
    d.selfTime = a.selfTime;
    d.fieldPresence[TotalTime] = a.withTotal;
    d.typeFlag16384 = a.special;
  });
}

// The algorithm's loop below a function object; the loop's own callee, when
// given, carries the time per call.
auto withLoop(Algorithm a, std::uint64_t trips, bool tripsKnown = true, std::uint64_t calls = 0,
              double calleeTime = -1.0, bool vectorized = false) {
  return [=](Rows& r) {
    sptr_t<FakeRow> algorithm = algorithmRow(r, a);
    sptr_t<FakeRow> functor = functionRow(r, "Scale::operator()(int&) const");
    sptr_t<FakeRow> loop = r.add(IMetadata::TypeLoop, [&](CommonData& d) {
      d.fieldPresence[TripCountAverage] = tripsKnown;
      d.tripCountAverage = trips;
      d.callCount = calls;
      d.isVectorized = vectorized;
    });
    r.bottomUpChild(algorithm, functor);
    r.bottomUpChild(functor, loop);
    if (calleeTime >= 0) {
      r.bottomUpChild(loop, r.add(IMetadata::TypeLoop, [&](CommonData& d) {
        d.fieldPresence[TotalTime] = true;
        d.selfTime = calleeTime;
      }));
    }
  };
}

std::vector<std::string> stl(const std::string& algorithm, std::vector<std::string> policies, int confidence) {
  std::string items;
  for (const std::string& p : policies) items += ",item{=" + p + "}";
  return {"issue_stl_algorithms [65] issue_stl_algorithms / ",
          rec("rec_use_parallel_stl", confidence, "rec_use_parallel_stl", "",
              "{stl_algorithm{=" + algorithm + "},pstl_exec_polices{arrayOf=item" + items + "}}")};
}

TEST_F(IssueDetectorTest, STLAlgorithms) {
  auto alone = [](Algorithm a) { return [a](Rows& r) { algorithmRow(r, a); }; };
  const char* sort = "void std::sort<double*>(double*, double*)";
  const char* anyOf = "bool std::any_of<int*, Pred>(int*, int*, Pred)";
  runTable({{"for_each, nothing below, little time: vectors only", alone({}), stl("for_each", {"unseq"}, 1)},
            {"for_each at its time threshold: threads", alone({.selfTime = 0.06}),
             stl("for_each", {"par", "par_unseq"}, 1)},
            {"sort below its threshold: nothing", alone({.name = sort, .selfTime = 0.069}), {}},
            {"sort at its threshold: threads", alone({.name = sort, .selfTime = 0.07}), stl("sort", {"par"}, 1)},
            {"a policy already", alone({.name = "void std::sort<pstl::execution::parallel_policy>()"}), {}},
            {"no total time", alone({.selfTime = 1.0, .withTotal = false}), {}},
            {"a row of type 16384 gets no threads", alone({.selfTime = 1.0, .special = true}),
             stl("for_each", {"unseq"}, 1)},
            {"no algorithm", alone({.name = "std::transform<int*>"}), {}},
            {"a loop of one iteration", withLoop({}, 1), {}},
            {"a loop of two iterations", withLoop({}, 2), stl("for_each", {"unseq"}, 3)},
            {"a vectorized loop", withLoop({}, 50, true, 0, -1.0, true), {}},
            {"a million iterations: threads", withLoop({.name = anyOf}, 1000000),
             stl("any_of", {"par", "par_unseq"}, 3)},
            {"one short of a million, 5 us per call: threads", withLoop({.name = anyOf}, 999999, true, 2, 1e-05),
             stl("any_of", {"par", "par_unseq"}, 3)},
            {"trips unknown, time per call known and short", withLoop({}, 0, false, 10, 1e-06),
             stl("for_each", {"unseq"}, 3)},
            {"trips unknown, no callee: judged by its own time", withLoop({.selfTime = 0.5}, 0, false),
             stl("for_each", {"par", "par_unseq"}, 1)}},
           make<IssueSTLAlgorithms>());
}

// The search passes only through function objects and finds each row once.
TEST_F(IssueDetectorTest, STLAlgorithmSearchStaysOnFunctionObjects) {
  auto provider = std::make_shared<IssueProvider>();
  Rows rows(provider);
  sptr_t<FakeRow> start = algorithmRow(rows, {});
  sptr_t<FakeRow> helper = functionRow(rows, "helper");
  sptr_t<FakeRow> functor = functionRow(rows, "Op::operator()");
  sptr_t<FakeRow> hidden = rows.add(IMetadata::TypeLoop);
  sptr_t<FakeRow> found = rows.add(IMetadata::TypeLoop);
  rows.bottomUpChild(start, helper);
  rows.bottomUpChild(helper, hidden);  // behind a plain function: not reached
  rows.bottomUpChild(start, functor);
  rows.bottomUpChild(functor, start);    // back to the start: skipped
  rows.bottomUpChild(functor, functor);  // a cycle: walked once
  rows.bottomUpChild(functor, found);
  IssueSTLAlgorithms detector(provider);
  auto isLoop = [&](const row_t& r) { return provider->getData(r).isLoop; };
  auto isFunctor = [&](const row_t& r) {
    return provider->getData(r).functionName.find("::operator()") != std::string::npos;
  };
  EXPECT_EQ(detector.findBottomUpChild(start, isLoop, isFunctor), row_t(found));
  EXPECT_FALSE(detector.findBottomUpChild(helper, isLoop, {}));
  EXPECT_FALSE(detector.findBottomUpChild(start, isLoop, [](const row_t&) { return false; }) == row_t(found));
}

}  // namespace
