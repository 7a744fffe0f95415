// The arithmetic detectors on prepared rows: which issue a row gets, with
// which keys, recommendations in order, confidence, flags and bags. Machine
// code is decoded from real instruction bytes wherever an encoding exists;
// texts read as keys with their arguments (see issue_test_support.h).

#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/detectors/arithmetic/issue_div.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_floating_point.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_fma.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_reciprocal.h"
#include "tests/discmodels2/recommendations_model/detectors/issue_test_support.h"
#include "tests/platform/assembler_analysis/decode_helpers.h"

namespace {

using namespace issue_tests;
using namespace data_models2::issues;
using assembler_analysis::AssemblerLine;
using assembler_analysis::AssemblerLines;
using assembler_analysis::Operand;
using assembler_analysis::testing::Bytes;
using assembler_analysis::testing::decode;
using assembler_analysis::testing::join;
using system_info::SystemInfo;

constexpr IMetadata::type_t kInnermostLoop = IMetadata::TypeLoop | IMetadata::TypeInnermost;

// ---- Instructions, as the compilers emit them in such loops.
const Bytes kLoadB = {0xF2, 0x0F, 0x10, 0x04, 0xC7};              // movsd xmm0, qword ptr [rdi+rax*8]
const Bytes kStoreA = {0xF2, 0x0F, 0x11, 0x04, 0xC2};             // movsd qword ptr [rdx+rax*8], xmm0
const Bytes kLoadConstant = {0xF2, 0x0F, 0x10, 0x0D, 0x10, 0, 0, 0};  // movsd xmm1, qword ptr [rip+0x10]
const Bytes kDivsd = {0xF2, 0x0F, 0x5E, 0xC1};                    // divsd xmm0, xmm1
const Bytes kDivps = {0x0F, 0x5E, 0xC1};                          // divps xmm0, xmm1
const Bytes kVdivpsYmm = {0xC5, 0xF4, 0x5E, 0xC2};                // vdivps ymm0, ymm1, ymm2
const Bytes kSqrtsd = {0xF2, 0x0F, 0x51, 0xC1};                   // sqrtsd xmm0, xmm1
const Bytes kVsqrtpsYmm = {0xC5, 0xFC, 0x51, 0xC1};               // vsqrtps ymm0, ymm1
const Bytes kFsqrt = {0xD9, 0xFA};                                // fsqrt: no explicit operand
const Bytes kIdiv = {0x48, 0xF7, 0xF9};                           // idiv rcx
const Bytes kMovapsOverDivisor = {0x0F, 0x28, 0xCA};              // movaps xmm1, xmm2
const Bytes kRcpps = {0x0F, 0x53, 0xC1};                          // rcpps xmm0, xmm1
const Bytes kRcpss = {0xF3, 0x0F, 0x53, 0xC1};                    // rcpss xmm0, xmm1
const Bytes kMulsd = {0xF2, 0x0F, 0x59, 0xC1};                    // mulsd xmm0, xmm1
const Bytes kAddsdProduct = {0xF2, 0x0F, 0x58, 0xD0};             // addsd xmm2, xmm0
const Bytes kMulpd = {0x66, 0x0F, 0x59, 0xC1};                    // mulpd xmm0, xmm1
const Bytes kSubpdProduct = {0x66, 0x0F, 0x5C, 0xD0};             // subpd xmm2, xmm0
const Bytes kVmulpsYmm = {0xC5, 0xF4, 0x59, 0xC2};                // vmulps ymm0, ymm1, ymm2
const Bytes kVaddpsProductSource = {0xC5, 0xFC, 0x58, 0xDC};      // vaddps ymm3, ymm0, ymm4
const Bytes kVaddpsProductDestination = {0xC5, 0xE4, 0x58, 0xC4};  // vaddps ymm0, ymm3, ymm4
const Bytes kVfmadd231sd = {0xC4, 0xE2, 0xF1, 0xB9, 0xC2};        // vfmadd231sd xmm0, xmm1, xmm2
const Bytes kLoopEnd = {0x48, 0x83, 0xC0, 0x01,                   // add rax, 0x1
                        0x48, 0x39, 0xF0,                         // cmp rax, rsi
                        0x75, 0xE0};                              // jnz back

// The loop's code: `body` between a load and the loop's end.
void code(Rows& r, const row_t& row, const Bytes& body) {
  r.provider->lines[row.get()] = boost::make_shared<AssemblerLines>(decode(join({kLoadB, body, kStoreA, kLoopEnd})));
}

// An innermost loop of the Vorex compiler with `flags` and `body` as code.
sptr_t<FakeRow> loop(Rows& r, const Bytes& body, const std::string& flags = "-O2", const Tweak& tweak = {},
                     IMetadata::type_t type = kInnermostLoop) {
  sptr_t<FakeRow> row = r.add(type, both([&](CommonData& d) { d.compilerFlags = flags; }, tweak));
  code(r, row, body);
  return row;
}

auto coded(Bytes body, std::string flags = "-O2", Tweak tweak = {}, IMetadata::type_t type = kInnermostLoop) {
  return [=](Rows& r) { loop(r, body, flags, tweak, type); };
}

// The summary mix under which a scalar loop looks vectorizable.
void vectorizableMix(Rows& r) { r.model->mixes[MixSummary] = {{9, 10}, {5, 3}, {1, 4}, {45, 1}}; }

// A scalar loop that looks vectorizable, with `dependency` as its dependency
// data.
auto vectorizable(Bytes body, int dependency) {
  return [=](Rows& r) {
    loop(r, body, "-O2", [=](CommonData& d) { d.dependencyPresence = dependency; });
    vectorizableMix(r);
  };
}

const Tweak kFortran = [](CommonData& d) { d.isFortran = true; };
const Tweak kVectorized = [](CommonData& d) { d.isVectorized = true; };

// Division and square root

const std::string kDivIssue = issueLine("div_issue");
const std::string kAddDiv = stemRec("add_div", 1, "_cpp");
const std::string kAddSqrt = stemRec("add_sqrt", 1, "_cpp");

TEST_F(IssueDetectorTest, DivisionAndSquareRoot) {
  auto withFlags = [](std::string flags) { return coded(join({kDivsd, kSqrtsd}), flags); };
  runTable({{"scalar double division", coded(kDivsd), {kDivIssue, kAddDiv}},
            {"division and square root, in that order", withFlags("-O2"), {kDivIssue, kAddDiv, kAddSqrt}},
            {"packed single division in Fortran", coded(kDivps, "-O3", kFortran),
             {issueLine("div_issue", 129), stemRec("add_div", 1, "_fortran", true)}},
            {"integer division does not count", coded(kIdiv), {}},
            {"an x87 square root has no operand yet counts", coded(kFsqrt), {kDivIssue, kAddSqrt}},
            {"the division's last operand written later", coded(join({kDivsd, kMovapsOverDivisor})), {}},
            {"the division's last operand loaded from a constant", coded(join({kLoadConstant, kDivsd})), {}},
            // Either sense of an option is a decision already taken.
            {"-no-prec-div", withFlags("-O2 -no-prec-div"), {kDivIssue, kAddSqrt}},
            {"-prec-div", withFlags("-prec-div -O2"), {kDivIssue, kAddSqrt}},
            {"/Qprec-div-", withFlags("/O2 /Qprec-div-"), {kDivIssue, kAddSqrt}},
            {"-no-prec-sqrt", withFlags("-O2 -no-prec-sqrt"), {kDivIssue, kAddDiv}},
            {"/Qprec-sqrt", withFlags("/Qprec-sqrt"), {kDivIssue, kAddDiv}},
            {"both decided", withFlags("-no-prec-div -prec-sqrt"), {}},
            {"-fp-model precise", withFlags("-O2 -fp-model precise"), {}},
            {"-fp-model strict", withFlags("-fp-model strict"), {}},
            {"/fp:precise", withFlags("/fp:precise"), {}},
            {"/fp:strict", withFlags("/fp:strict"), {}},
            {"-fp-model fast leaves it", withFlags("-fp-model fast"), {kDivIssue, kAddDiv, kAddSqrt}},
            {"AVX-512 code", coded(kDivsd, "-O2", [](CommonData& d) { d.isAvx512 = true; }), {}},
            {"not innermost", coded(kDivsd, "-O2", {}, IMetadata::TypeLoop), {}},
            {"no code", [](Rows& r) { r.add(kInnermostLoop); }, {}}},
           make<IssueDIV>());
}

// FMA

const std::string kNoDependencyData = "{no_dependency_disclaimer{=0}}";
const std::string kDependenciesRun = "{no_dependency_disclaimer{=1}}";

const std::string kFmaIssue = issueLine("fma_issue");
const std::string kTargetAvx2 = stemRec("fma_rec_target_avx2_isa", 1, "");
const std::string kTargetSpecific = stemRec("fma_rec_target_specific_isa", 1, "");
const std::string kEnableFma = stemRec("fma_rec_explicitly_enable", 1, "");
std::string enforceFma(const std::string& bag) { return stemRec("fma_rec_enforce_vec", 1, "_cpp", false, bag); }

const Bytes kScalarPair = join({kMulsd, kAddsdProduct});

// A hand-made line: no compiler emits these memory destinations for a
// multiply, but the walk's kinds rule is about them.
AssemblerLine handLine(unsigned classBit, std::vector<std::pair<std::string, unsigned>> operands) {
  AssemblerLine made;
  made.setClasses(assembler_analysis::classMaskOfBits({classBit, 38}));
  for (const auto& [text, kind] : operands) {
    Operand operand;
    operand.setText(text);
    operand.addKinds(kind);
    operand.setAccess(assembler_analysis::AccessReadWrite);
    made.addOperand(operand);
  }
  return made;
}

TEST_F(IssueDetectorTest, FusedMultiplyAdd) {
  auto withFlags = [](std::string flags, Tweak tweak = {}) { return coded(kScalarPair, flags, tweak); };
  auto memoryProduct = [](bool vectorized) {
    return [=](Rows& r) {
      sptr_t<FakeRow> row = r.add(kInnermostLoop, [=](CommonData& d) { d.isVectorized = vectorized; });
      auto lines = boost::make_shared<AssemblerLines>();
      lines->push_back(handLine(1, {{"qword ptr [rsp+0x8]", 1}, {"xmm1", 2}}));
      lines->push_back(handLine(0, {{"xmm2", 2}, {"qword ptr [rsp+0x8]", 1}}));
      r.provider->lines[row.get()] = lines;
    };
  };
  const Tweak outer = [](CommonData& d) { d.innerLoopCount = 1; };
  runTable({{"scalar multiply then add, no target option", withFlags("-O2"), {kFmaIssue, kTargetAvx2}},
            {"packed multiply then subtract", coded(join({kMulpd, kSubpdProduct})), {kFmaIssue, kTargetAvx2}},
            {"three-operand add reading the product",
             coded(join({kVmulpsYmm, kVaddpsProductSource}), "-O2", kVectorized),
             {kFmaIssue, kTargetAvx2}},
            {"three-operand add writing over the product is no pair",
             coded(join({kVmulpsYmm, kVaddpsProductDestination})), {}},
            {"add before the multiply is no pair", coded(join({kAddsdProduct, kMulsd})), {}},
            {"a product in memory pairs in a scalar loop", memoryProduct(false), {kFmaIssue, kTargetAvx2}},
            {"a product in memory does not pair in a vector loop", memoryProduct(true), {}},
            {"-xHost", withFlags("-O2 -xHost"), {kFmaIssue, kTargetSpecific}},
            {"/QxHost", withFlags("/O2 /QxHost"), {kFmaIssue, kTargetSpecific}},
            {"-xCORE-AVX2 and no strict model", withFlags("-xCORE-AVX2"), {}},
            {"-axCORE-AVX2", withFlags("-axCORE-AVX2 -fp-model strict"), {kFmaIssue, kEnableFma}},
            {"-march=core-avx2 with strict model", withFlags("-march=core-avx2 -fp-model strict"),
             {kFmaIssue, kEnableFma}},
            {"/arch:CORE-AVX2 with /fp:strict", withFlags("/arch:CORE-AVX2 /fp:strict"), {kFmaIssue, kEnableFma}},
            {"-xHost with strict model", withFlags("-xHost -fp-model strict"),
             {kFmaIssue, kTargetSpecific, kEnableFma}},
            {"-xHost, strict model, -fma", withFlags("-xHost -fp-model strict -fma"), {kFmaIssue, kTargetSpecific}},
            {"-xHost, strict model, -no-fma", withFlags("-xHost -fp-model strict -no-fma"),
             {kFmaIssue, kTargetSpecific}},
            {"strict model without a target option", withFlags("-fp-model strict"), {kFmaIssue, kTargetAvx2}},
            {"AVX2 code, -xHost and strict model",
             withFlags("-xHost -fp-model strict", [](CommonData& d) { d.isaType = SystemInfo::IsaAvx2; }),
             {kFmaIssue, kEnableFma}},
            {"AVX code gets the target advice", withFlags("-O2", [](CommonData& d) { d.isaType = SystemInfo::IsaAvx; }),
             {kFmaIssue, kTargetAvx2}},
            {"scalar fused, dependencies run", vectorizable(kVfmadd231sd, 1),
             {kFmaIssue, enforceFma(kDependenciesRun)}},
            {"scalar fused, no dependency data", vectorizable(kVfmadd231sd, 0),
             {kFmaIssue, enforceFma(kNoDependencyData)}},
            {"scalar fused, proven dependency", vectorizable(kVfmadd231sd, 2), {}},
            {"scalar fused, not vectorizable", coded(kVfmadd231sd), {}},
            {"fused first: the pair after it is not looked for", vectorizable(join({kVfmadd231sd, kScalarPair}), 1),
             {kFmaIssue, enforceFma(kDependenciesRun)}},
            {"pair, then fused", vectorizable(join({kScalarPair, kVfmadd231sd}), 1),
             {kFmaIssue, enforceFma(kDependenciesRun), kTargetAvx2}},
            {"Fortran", withFlags("-O2", kFortran),
             {issueLine("fma_issue", 129), stemRec("fma_rec_target_avx2_isa", 1, "", true)}},
            {"split loop", withFlags("-O2", [](CommonData& d) { d.isSplitLoop = true; }), {}},
            {"peeled part", withFlags("-O2", [](CommonData& d) { d.isPeelPart = true; }), {}},
            {"remainder part", withFlags("-O2", [](CommonData& d) { d.isRemainderPart = true; }), {}},
            {"scalar outer loop", withFlags("-O2", outer), {}},
            {"vectorized outer loop", withFlags("-O2", both(outer, kVectorized)), {kFmaIssue, kTargetAvx2}},
            {"another compiler", withFlags("-O2", [](CommonData& d) { d.isVorexCompiler = false; }), {}},
            {"no code", [](Rows& r) { r.add(kInnermostLoop); }, {}}},
           [](Rows& r) { return std::make_shared<IssueFMA>(r.provider, SystemInfo::IsaAvx2, r.model); });

  // Target advice needs a machine that fuses; vectorizing does not.
  runTable({{"pair on an AVX machine", withFlags("-O2"), {}},
            {"fused on an AVX machine", vectorizable(kVfmadd231sd, 1), {kFmaIssue, enforceFma(kDependenciesRun)}}},
           [](Rows& r) { return std::make_shared<IssueFMA>(r.provider, SystemInfo::IsaAvx, r.model); });
  runTable({{"no survey model", withFlags("-O2"), {}}},
           [](Rows& r) { return std::make_shared<IssueFMA>(r.provider, SystemInfo::IsaAvx2, nullptr); });
}

// Reciprocals

const std::string kReciprocalIssue = issueLine("issue_reciprocals");
const std::string kRecompileAvx512 = stemRec("reciprocals_rec_recompile_with_AVX512", 1, "");
const std::string kRecompileManyCore = stemRec("reciprocals_rec_recompile_with_ZQR", 1, "");
const std::string kFineTune = stemRec("reciprocals_rec_fine_tune_accuracy", 1, "");
std::string enforceReciprocals(const std::string& bag) {
  return stemRec("rec_reciprocals_enforce_vec", 1, "_cpp", false, bag);
}

auto reciprocalMaker(SystemInfo::IsaExtensions isa, SystemInfo::CPUType cpu = SystemInfo::CpuUnknown) {
  return [=](Rows& r) { return std::make_shared<IssueReciprocal>(r.provider, isa, cpu, r.model); };
}

TEST_F(IssueDetectorTest, Reciprocals) {
  auto packed = [](std::string flags, Tweak tweak = {}) { return coded(kVdivpsYmm, flags, tweak); };
  const Tweak avx512Code = [](CommonData& d) { d.isAvx512 = true; };
  const std::vector<std::string> fineTune = {kReciprocalIssue, kFineTune};
  runTable({{"packed division, no target option", packed("-O2"), {kReciprocalIssue, kRecompileAvx512}},
            {"packed square root", coded(kVsqrtpsYmm), {kReciprocalIssue, kRecompileAvx512}},
            {"packed division, AVX-512 target", packed("-xCORE-AVX512"), {}},
            {"packed division, AVX-512 code path", packed("-axCOMMON-AVX512"), {}},
            {"AVX-512 code under an accuracy option", packed("-xCORE-AVX512 -fimf-precision=high", avx512Code),
             fineTune},
            {"every accuracy option family counts", packed("-xCORE-AVX512 /Qprec-sqrt", avx512Code), fineTune},
            {"AVX-512 code without an accuracy option", packed("-xCORE-AVX512", avx512Code), {}},
            {"packed reciprocal present", coded(join({kVdivpsYmm, kRcpps})), {}},
            {"scalar division, vectorizable, dependencies run", vectorizable(kDivsd, 1),
             {kReciprocalIssue, enforceReciprocals(kDependenciesRun)}},
            {"scalar division and a scalar reciprocal", vectorizable(join({kDivsd, kRcpss}), 0),
             {kReciprocalIssue, enforceReciprocals(kNoDependencyData)}},
            {"scalar division, proven dependency", vectorizable(kDivsd, 2), {}},
            {"scalar division, not vectorizable", coded(kDivsd), {}},
            {"scalar and packed division, vectorizable", vectorizable(join({kDivsd, kVdivpsYmm}), 1),
             {kReciprocalIssue, enforceReciprocals(kDependenciesRun), kRecompileAvx512}},
            {"no division", coded(kMulsd), {}},
            {"integer division", coded(kIdiv), {}},
            {"Fortran", packed("-O2", kFortran),
             {issueLine("issue_reciprocals", 129), stemRec("reciprocals_rec_recompile_with_AVX512", 1, "", true)}},
            {"peeled part", coded(kVdivpsYmm, "-O2", {}, kInnermostLoop | IMetadata::TypePeelPart), {}},
            {"remainder part", coded(kVdivpsYmm, "-O2", {}, kInnermostLoop | IMetadata::TypeRemainderPart), {}},
            {"scalar outer loop", packed("-O2", [](CommonData& d) { d.innerLoopCount = 2; }), {}},
            {"another compiler", packed("-O2", [](CommonData& d) { d.isVorexCompiler = false; }), {}},
            {"no metadata", [](Rows& r) { code(r, r.addWithoutMetadata(), kVdivpsYmm); }, {}},
            {"no code", [](Rows& r) { r.add(kInnermostLoop); }, {}}},
           reciprocalMaker(SystemInfo::IsaAvx512));
  runTable({{"many-core machine, no option", packed("-O2"), {kReciprocalIssue, kRecompileManyCore}},
            {"many-core machine, many-core target", packed("-xZQR-AVX512"), {}},
            {"many-core machine, other AVX-512 target", packed("-xCORE-AVX512"),
             {kReciprocalIssue, kRecompileManyCore}}},
           reciprocalMaker(SystemInfo::IsaAvx512, SystemInfo::CpuManyCore));
  // Collected below AVX-512: only the accuracy advice for AVX-512 code.
  runTable({{"packed division", packed("-O2"), {}},
            {"AVX-512 code under an accuracy option", packed("-fp-model precise", avx512Code), fineTune},
            {"scalar division, vectorizable", vectorizable(kDivsd, 1), {}}},
           reciprocalMaker(SystemInfo::IsaAvx2));
  runTable({{"no survey model", packed("-O2"), {}}}, [](Rows& r) {
    return std::make_shared<IssueReciprocal>(r.provider, SystemInfo::IsaAvx512, SystemInfo::CpuUnknown, nullptr);
  });
}

// Floating point and the math library

const std::string kLibmIssue = issueLine("libm_function_issue");
const std::string kInlining = stemRec("libm_function_rec_enable_inlining", 1, "_cpp");
const std::string kPrecise = stemRec("libm_function_rec_precise", 3, "");
const std::string kStrict = stemRec("libm_function_rec_strict", 3, "");
const std::string kTqml = stemRec("libm_function_rec_tqml_gcc", 3, "_cpp");
const std::string kNewGlibc = stemRec("libm_function_rec_new_glibc", 1, "_cpp");

struct MathLoop {
  std::string compiler = "vorex c++ 2024.0";
  std::string flags = "-O2";
  std::set<data_models2::GlibcVer> glibc = {};
  bool libmvec = true;
};

sptr_t<FakeRow> mathLoop(Rows& r, const MathLoop& m, const Tweak& tweak = {}) {
  return r.add(kInnermostLoop, [&](CommonData& d) {
    d.fieldPresence[CompilerFlags] = true;
    d.callsMathLibrary = true;
    d.compilerName = m.compiler;
    d.compilerFlags = m.flags;
    d.glibcVersions = m.glibc;
    d.callsLibmvec = m.libmvec;
    if (tweak) tweak(d);
  });
}

TEST_F(IssueDetectorTest, FloatingPointAndMathLibrary) {
  auto math = [](MathLoop m, Tweak tweak = {}) { return [=](Rows& r) { mathLoop(r, m, tweak); }; };
  auto gcc = [](std::set<data_models2::GlibcVer> glibc, bool libmvec) {
    return MathLoop{.compiler = "gnu c++17 12.2.0", .flags = "-O3", .glibc = glibc, .libmvec = libmvec};
  };
  runTable({{"Vorex, nothing to change", math({}), {}},
            {"-Ob0", math({.flags = "-O2 -Ob0"}), {kLibmIssue, kInlining}},
            {"-inline-level=0", math({.flags = "-inline-level=0"}), {kLibmIssue, kInlining}},
            {"-Ob0 on a vectorized loop", math({.flags = "-Ob0"}, kVectorized), {}},
            {"-fp-model precise", math({.flags = "-fp-model precise"}), {kLibmIssue, kPrecise}},
            {"/fp:precise", math({.flags = "/fp:precise"}), {kLibmIssue, kPrecise}},
            {"precise with fast transcendentals", math({.flags = "-fp-model precise -fast-transcendentals"}), {}},
            {"precise with /Qfast-transcendentals", math({.flags = "/fp:precise /Qfast-transcendentals"}), {}},
            {"precise on a type 512 row",
             math({.flags = "-fp-model precise"}, [](CommonData& d) { d.typeFlag512 = true; }), {}},
            {"-fp-model strict", math({.flags = "-fp-model strict"}), {kLibmIssue, kStrict}},
            {"/fp:strict", math({.flags = "/fp:strict"}), {kLibmIssue, kStrict}},
            {"/fp-model strict lacks the minus", math({.flags = "/fp-model strict"}), {}},
            {"all in order", math({.flags = "-Ob0 -fp-model precise -fp-model strict"}),
             {kLibmIssue, kInlining, kPrecise, kStrict}},
            {"GCC, C library 2.31 with libmvec", math(gcc({{2, 31}}, true)), {kLibmIssue, kTqml}},
            {"GCC, C library 2.22 with libmvec", math(gcc({{2, 22}}, true)), {kLibmIssue, kTqml}},
            {"GCC, C library 2.21 with libmvec", math(gcc({{2, 21}}, true)), {kLibmIssue, kTqml, kNewGlibc}},
            {"GCC, C library 1.99", math(gcc({{1, 99}}, true)), {kLibmIssue, kTqml, kNewGlibc}},
            {"GCC, C libraries 2.17 and 3.0", math(gcc({{2, 17}, {3, 0}}, true)), {kLibmIssue, kTqml}},
            {"GCC, no C library known", math(gcc({}, true)), {kLibmIssue, kTqml, kNewGlibc}},
            {"GCC, C library 2.22 without libmvec calls", math(gcc({{2, 22}}, false)), {kLibmIssue, kTqml, kNewGlibc}},
            {"GCC with -Ob0 and strict model",
             math({.compiler = "gnu c 12", .flags = "-Ob0 -fp-model strict", .glibc = {{2, 35}}}),
             {kLibmIssue, kInlining, kStrict, kTqml}},
            {"GCC Fortran", math(gcc({{2, 17}}, false), kFortran),
             {issueLine("libm_function_issue", 129), stemRec("libm_function_rec_tqml_gcc", 3, "_fortran", true),
              stemRec("libm_function_rec_new_glibc", 1, "_fortran", true)}},
            {"another compiler with an old C library",
             math({.compiler = "clang 17", .glibc = {{2, 17}}, .libmvec = false}), {}},
            {"no compile options recorded",
             math(gcc({}, false), [](CommonData& d) { d.fieldPresence[CompilerFlags] = false; }), {}},
            {"not innermost", math(gcc({}, false), [](CommonData& d) { d.isInnermostLoop = false; }), {}},
            {"no math calls", math(gcc({}, false), [](CommonData& d) { d.callsMathLibrary = false; }), {}}},
           make<IssueFloatingPoint>());
}

// Loops as gcc 12 and clang compile them (-fno-math-errno unless said): the
// bytes of each loop body, from the first instruction to the backward jump.

// double a[i] = b[i] / c[i], gcc -O2
const char* kGccO2Div = "f20f1004c6f20f5e04c2f20f1104c74883c0014839c175e8";
// float a[i] = sqrtf(b[i]), gcc -O2
const char* kGccO2Sqrt = "f30f100486f30f51c0f30f1104874883c0014839c275e9";
// y[i] = a * x[i] + y[i] in double, gcc -O2
const char* kGccO2Axpy = "f20f100cc6f20f59c8f20f580cc7f20f110cc74883c0014839c275e4";
// the same, gcc -O3 -mavx2: vmulpd, then vaddpd reads the product
const char* kGccAvx2Axpy = "c5ed590c06c5f5580c01c5fd110c014883c0204839c775e8";
// the same, gcc -O3 -mavx2 -mfma: vfmadd213pd
const char* kGccFmaAxpy = "c5fd100c06c4e2eda80c01c5fd110c014883c0204839c775e7";
// double division, gcc -O3 -mavx2: vdivpd ymm
const char* kGccAvx2Div = "c5fd100c06c5f55e0402c5fd1104074883c0204c39c075e8";
// double division, clang -O3 -mavx2: two vdivpd ymm a trip
const char* kClangAvx2Div =
    "c4a17d1004cec4a17d5e04cac4a17d104cce20c4a1755e4cca20c4a17d1104cfc4a17d114ccf204983c1084983c2fe75cf";
// r[i] = a[i] / sqrtf(b[i]), gcc -O3 -mavx2 -mfma -ffast-math: vrsqrtps and a
// Newton step with vfmadd132ps instead of the division and the root
const char* kGccFastRsqrt =
    "c5fc520c02c5f4590402c4e26598c1c5f459cac5fc59c1c5fc590406c5fc1104074883c0204c39c075d6";
// float sqrtf, gcc -O3 -mavx512f: vsqrtps zmm
const char* kGccAvx512Sqrt = "62f17c4851040662f17c481104074883c0404839c175e9";
// r[i] = 1 / sqrtf(b[i]); d[i] = x[i] / y[i], -ffast-math: the float root
// becomes vrsqrtps with a Newton step, the double division stays.
//   gcc -O3 -mavx2 -mfma: vrsqrtps, vfmadd132ps, two vdivpd ymm
const char* kGccAvx2Mixed =
    "c5fc520c06c5fd10644120c5fd102c41c5f4590406c4e26598c1c5f459cac5fc59c1c4c1555e0c40c5fd110c42c5fc110407c4c15d5e"
    "444020c5fd114442204883c0204c39d075b8";
//   clang -O3 -mavx2 -mfma, its scalar remainder: vrsqrtss, vfmadd213ss, vdivsd
const char* kClangScalarMixed =
    "c5fa101496c5ea52dac5ea59d3c4e261a9d0c5e259d9c5e259d2c5fb101cd1c5e35e1cd0c5fa111497c4c17b111cd34883c2014939d175c8";
//   gcc -O3 -mavx512f: vrsqrt14ps under a zeroing mask, vrcp14ps, vdivpd zmm
const char* kGccAvx512Mixed =
    "62f16c48c20c060462f27dc94e040662f1fd48106c410162f1fd4810344162f17c48590c0662f25d4898c162f1744859cb62f17c4859c1"
    "62f27d484cc862f1744859c062f1744859c062f1744858c962f174485cc862d1d5485e44400162f1fd481144420162f17c48110c0762d1"
    "cd485e0c4062f1fd48110c424883c0404c39d00f8579ffffff";
// r[i] = 1.0f / a[i], gcc -O3 -mavx512f -ffast-math: vrcp14ps and a Newton
// step of two vmulps, vaddps and a vsubps that reads a product
const char* kGccAvx512Newton =
    "62f27d484c040662f17c48590c0662f17c4859c962f17c4858c062f17c485cc162f17c481104074883c0404839c175d0";

struct Compiled {
  const char* name;
  const char* hex;
  bool vectorized;
  const char* flags;
  /// The instruction set the code is for: the row's isaType, and AVX-512
  /// code from IsaAvx512 on.
  SystemInfo::IsaExtensions isa;
  std::vector<std::string> div, fma, reciprocal;
  /// A scalar loop whose mix looks vectorizable, dependencies run.
  bool looksVectorizable = false;
};

TEST_F(IssueDetectorTest, LoopsCompiledByGccAndClang) {
  const auto sse2 = SystemInfo::IsaSse2;
  const auto avx2 = SystemInfo::IsaAvx2;
  const auto avx512 = SystemInfo::IsaAvx512;
  const std::vector<std::string> recompile = {kReciprocalIssue, kRecompileAvx512};
  const std::vector<Compiled> loops = {
      {"gcc -O2 division", kGccO2Div, false, "-O2", sse2, {kDivIssue, kAddDiv}, {}, {}},
      {"gcc -O2 square root", kGccO2Sqrt, false, "-O2", sse2, {kDivIssue, kAddSqrt}, {}, {}},
      {"gcc -O2 multiply-add", kGccO2Axpy, false, "-O2", sse2, {}, {kFmaIssue, kTargetAvx2}, {}},
      // AVX2 code counts as having the fused forms; only the strict model
      // keeps them off.
      {"gcc AVX2 multiply-add under a strict model", kGccAvx2Axpy, true, "-O3 -xCORE-AVX2 -fp-model strict", avx2,
       {}, {kFmaIssue, kEnableFma}, {}},
      {"gcc AVX2 with FMA", kGccFmaAxpy, true, "-O3 -xCORE-AVX2", avx2, {}, {}, {}},
      {"gcc AVX2 division", kGccAvx2Div, true, "-O3", avx2, {kDivIssue, kAddDiv}, {}, recompile},
      {"clang AVX2 division", kClangAvx2Div, true, "-O3", avx2, {kDivIssue, kAddDiv}, {}, recompile},
      {"gcc fast-math reciprocal square root", kGccFastRsqrt, true, "-O3", avx2, {}, {}, {}},
      {"gcc AVX-512 square root", kGccAvx512Sqrt, true, "-xCORE-AVX512 -fp-model precise", avx512, {}, {},
       {kReciprocalIssue, kFineTune}},
      // A packed reciprocal anywhere in the loop: the packed division beside
      // it gets no reciprocal advice.
      {"gcc AVX2 fast-math root and division", kGccAvx2Mixed, true, "-O3 -ffast-math", avx2, {kDivIssue, kAddDiv}, {},
       {}},
      {"gcc AVX-512 fast-math root and division", kGccAvx512Mixed, true, "-O3 -ffast-math", avx512, {}, {}, {}},
      // A scalar reciprocal is no cheap form yet, and the scalar fused
      // instruction asks for vectorizing.
      {"clang scalar fast-math root and division", kClangScalarMixed, false, "-O3 -ffast-math", avx2,
       {kDivIssue, kAddDiv}, {kFmaIssue, enforceFma(kDependenciesRun)},
       {kReciprocalIssue, enforceReciprocals(kDependenciesRun)}, true},
      {"gcc AVX-512 Newton step pairs, but its code fuses already", kGccAvx512Newton, true, "-O3 -ffast-math", avx512,
       {}, {}, {}},
  };
  for (const Compiled& c : loops) {
    SCOPED_TRACE(c.name);
    auto build = [&c](Rows& r) {
      sptr_t<FakeRow> row = r.add(kInnermostLoop, [&c](CommonData& d) {
        d.compilerFlags = c.flags;
        d.isVectorized = c.vectorized;
        d.isaType = c.isa;
        d.isAvx512 = c.isa >= SystemInfo::IsaAvx512;
        if (c.looksVectorizable) d.dependencyPresence = 1;
      });
      if (c.looksVectorizable) vectorizableMix(r);
      r.provider->lines[row.get()] = boost::make_shared<AssemblerLines>(decode(hexBytes(c.hex)));
    };
    runTable({{"IssueDIV", build, c.div}}, make<IssueDIV>());
    runTable({{"IssueFMA", build, c.fma}},
             [](Rows& r) { return std::make_shared<IssueFMA>(r.provider, SystemInfo::IsaAvx512, r.model); });
    runTable({{"IssueReciprocal", build, c.reciprocal}}, reciprocalMaker(SystemInfo::IsaAvx512));
  }
}

TEST_F(IssueDetectorTest, ArithmeticDetectorsWithoutRowOrProvider) {
  auto provider = std::make_shared<IssueProvider>();
  Rows rows(provider);
  const row_t row = loop(rows, kVdivpsYmm);
  const std::vector<std::shared_ptr<IssueDetector>> detectors = {
      std::make_shared<IssueDIV>(nullptr),
      std::make_shared<IssueFMA>(nullptr, SystemInfo::IsaAvx2, rows.model),
      std::make_shared<IssueReciprocal>(nullptr, SystemInfo::IsaAvx512, SystemInfo::CpuUnknown, rows.model),
      std::make_shared<IssueFloatingPoint>(nullptr),
  };
  for (const auto& detector : detectors) EXPECT_TRUE(run(*detector, row).empty());
  EXPECT_TRUE(run(IssueDIV(provider), row_t()).empty());
}

}  // namespace
