#include "platform/assembler_analysis/mnemonic_classes.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace assembler_analysis {

namespace {

using C = InstructionClass;

struct PrefixRule {
  std::string_view prefix;
  class_mask_t classes;
};

struct Rules {
  std::unordered_map<std::string_view, class_mask_t> exact;
  // Checked in order, first match wins: more specific prefixes come before
  // the ones they would otherwise fall under ("gatherpf" before "gather",
  // "cmpxchg" before "cmp", "fmadd" before "fma"-less "fmul").
  std::vector<PrefixRule> prefixes;

  void names(std::initializer_list<std::string_view> list, std::initializer_list<InstructionClass> classes) {
    const class_mask_t mask = classMask(classes);
    for (std::string_view name : list) exact[name] |= mask;
  }
  void prefixed(std::initializer_list<std::string_view> list, std::initializer_list<InstructionClass> classes) {
    const class_mask_t mask = classMask(classes);
    for (std::string_view prefix : list) prefixes.push_back({prefix, mask});
  }
};

// The rules work on the mnemonic without the "v" of VEX/EVEX forms.
// Arithmetic classes 0-3 are floating point only: integer arithmetic has its
// own classes (29-31), so that address arithmetic such as
// "imul rax, rdx; add rax, rsi" never looks like a fusable multiply-add and an
// integer division never asks for floating-point reciprocals.
Rules buildRules() {
  Rules r;

  // Integer arithmetic and logic.
  r.names({"add", "adc", "adcx", "adox", "inc", "sub", "sbb", "dec"}, {C::IntegerAddSubtract});
  r.names({"xadd"}, {C::IntegerAddSubtract, C::Exchange});
  r.names({"mul", "imul", "mulx"}, {C::IntegerMultiply});
  r.names({"div", "idiv"}, {C::IntegerDivide});
  r.names({"neg", "fabs", "fchs"}, {C::AbsoluteSign});
  r.names({"and", "or", "xor", "not", "andn", "andps", "andpd", "andnps", "andnpd", "orps", "orpd", "xorps", "xorpd",
           "pand", "pandn", "pandd", "pandq", "pandnd", "pandnq", "por", "pord", "porq", "pxor", "pxord", "pxorq"},
          {C::Logical});
  r.names({"shl", "shr", "sal", "sar", "rol", "ror", "rcl", "rcr", "shld", "shrd", "shlx", "shrx", "sarx", "rorx",
           "pmultishiftqb"},
          {C::ShiftRotate});
  r.names({"popcnt", "lzcnt", "tzcnt", "tzcnti", "bsf", "bsr", "bt", "btc", "btr", "bts", "pdep", "pext", "bextr",
           "blsi", "blsmsk", "blsr", "bzhi", "blcfill", "blci", "blcic", "blcmsk", "blcs", "blsfill", "blsic",
           "t1mskc", "tzmsk", "crc32"},
          {C::BitManipulation});
  r.names({"cmp", "test", "ptest", "ftst", "fxam"}, {C::Compare});

  // Floating-point arithmetic with fixed names.
  r.names({"addsubps", "addsubpd"}, {C::FloatAdd, C::FloatSubtract});
  r.names({"fsqrt", "pfsqrt"}, {C::FloatSquareRoot});
  r.names({"pfmin", "pfmax", "phminposuw"}, {C::MinMax});
  r.names({"pavgb", "pavgw", "pavgusb"}, {C::IntegerAddSubtract});
  r.names({"psadbw", "mpsadbw", "dbpsadbw", "pfacc", "pfnacc", "pfpnacc"}, {C::Horizontal});
  r.names({"dpps", "dppd", "dpbf16ps", "pmaddwd", "pmaddubsw", "pmadd52luq", "pmadd52huq", "pmadd231d", "pmadd233d"},
          {C::DotProduct});
  r.names({"frndint"}, {C::Rounding});
  r.names({"fscale", "fxtract", "scaleps", "f2xm1", "fyl2x", "fyl2xp1", "fsin", "fcos", "fsincos", "fptan", "fpatan",
           "fprem", "fprem1"},
          {C::ExponentMantissa});
  r.names({"pi2fd", "pi2fw", "pf2id", "pf2iw"}, {C::Conversion});

  // Reciprocal approximations. The 3DNow! iteration steps refine the same
  // approximations and belong to them.
  r.names({"rcpps", "rcpss", "rcpph", "rcpsh", "pfrcp", "pfrcpit1", "pfcpit1", "pfrcpit2"}, {C::Reciprocal});
  r.names({"rsqrtps", "rsqrtss", "rsqrtph", "rsqrtsh", "pfrsqrt", "pfrsqit1"}, {C::ReciprocalSquareRoot});

  // Data movement.
  r.names({"mov", "movapd", "movaps", "movupd", "movups", "movss", "movsd", "movsh", "movw", "movd", "movq",
           "movhlps", "movhpd", "movhps", "movlhps", "movlpd", "movlps", "lddqu", "movdq2q", "movq2dq", "movnrapd",
           "movnraps", "movnrngoapd", "movnrngoaps", "fld", "fst", "fstp", "fild", "fist", "fistp", "fisttp", "fbld",
           "fbstp", "fld1", "fldz", "fldpi", "fldl2e", "fldl2t", "fldlg2", "fldln2", "fstpnce"},
          {C::Move});
  r.names({"movdiri", "movdir64b", "maskmovdqu", "maskmovq"}, {C::Move, C::NonTemporal});
  r.names({"movzx", "movsx", "movsxd", "cbw", "cwde", "cdqe", "cwd", "cdq", "cqo"}, {C::ExtendingMove});
  r.names({"movddup", "movsldup", "movshdup"}, {C::Broadcast});
  r.names({"xchg", "bswap", "movbe", "fxch"}, {C::Exchange});
  r.names({"push", "pusha", "pushad", "pushf", "pushfd", "pushfq", "pop", "popa", "popad", "popf", "popfd", "popfq",
           "enter", "leave"},
          {C::PushPop});
  r.names({"lea"}, {C::AddressComputation});
  r.names({"pcmov"}, {C::Blend});
  r.names({"pswapd"}, {C::Shuffle});
  r.names({"xlat", "tileloadd", "tileloaddt1", "tilestored"}, {C::Move});
  r.names({"pmovmskb", "extrq", "insertq"}, {C::InsertExtract});
  r.names({"pmovdb", "pmovdw", "pmovqb", "pmovqd", "pmovqw", "pmovwb", "pmovsdb", "pmovsdw", "pmovsqb", "pmovsqd",
           "pmovsqw", "pmovswb", "pmovusdb", "pmovusdw", "pmovusqb", "pmovusqd", "pmovusqw", "pmovuswb"},
          {C::Pack});
  r.names({"pmovb2m", "pmovw2m", "pmovd2m", "pmovq2m"}, {C::MaskRegister});

  // Housekeeping.
  r.names({"nop", "fnop", "endbr32", "endbr64", "fdisi8087_nop", "feni8087_nop", "fsetpm287_nop"}, {C::Nop});
  r.names({"zeroupper", "zeroall", "emms", "femms"}, {C::VectorZeroing});
  r.names({"clflush", "clflushopt", "clwb", "cldemote", "clzero", "clevict0", "clevict1"}, {C::Prefetch});
  r.names({"mfence", "lfence", "sfence", "pause", "serialize", "tpause", "umwait", "umonitor", "monitor", "mwait",
           "monitorx", "mwaitx", "delay", "fwait"},
          {C::Fence});
  r.names({"cpuid", "rdtsc", "rdtscp", "rdpmc", "xgetbv", "xsetbv", "ud0", "ud1", "ud2", "hlt", "int", "int1", "int3",
           "into", "ldmxcsr", "stmxcsr", "testui"},
          {C::System});

  // Prefixes, most specific first.
  r.prefixed({"gatherpf", "scatterpf", "prefetch"}, {C::Prefetch});
  r.prefixed({"gather", "pgather"}, {C::Gather});
  r.prefixed({"scatter", "pscatter"}, {C::Scatter});
  r.prefixed({"compress", "pcompress", "expand", "pexpand"}, {C::CompressExpand});
  r.prefixed({"fmadd", "fmsub", "fnmadd", "fnmsub", "4fmadd", "4fnmadd", "fcmadd"}, {C::FusedMultiplyAdd});
  r.prefixed({"rcp14"}, {C::Reciprocal14});
  r.prefixed({"rsqrt14"}, {C::ReciprocalSquareRoot14});
  r.prefixed({"rcp28", "rcp23"}, {C::Reciprocal28});
  r.prefixed({"rsqrt28", "rsqrt23"}, {C::ReciprocalSquareRoot28});
  r.prefixed({"cvt"}, {C::Conversion});
  r.prefixed({"cmpxchg"}, {C::Exchange});
  r.prefixed({"cmov", "fcmov"}, {C::ConditionalMove});
  r.prefixed({"cmp", "comi", "ucomi", "pcmp", "pfcmp", "fcom", "fucom", "ficom", "ptest", "fpclass", "p2intersect",
              "test", "pcom"},
             {C::Compare});
  r.prefixed({"add", "fadd", "fiadd", "pfadd"}, {C::FloatAdd});
  r.prefixed({"sub", "fsub", "fisub", "pfsub"}, {C::FloatSubtract});
  r.prefixed({"mul", "fmul", "fimul", "pfmul", "fcmulc"}, {C::FloatMultiply});
  r.prefixed({"div", "fdiv", "fidiv"}, {C::FloatDivide});
  r.prefixed({"sqrt"}, {C::FloatSquareRoot});
  r.prefixed({"padd", "psub", "psbb", "padc"}, {C::IntegerAddSubtract});
  r.prefixed({"pmul"}, {C::IntegerMultiply});
  r.prefixed({"min", "max", "pmin", "pmax", "gmin", "gmax"}, {C::MinMax});
  r.prefixed({"pabs", "psign"}, {C::AbsoluteSign});
  r.prefixed({"hadd", "hsub", "phadd", "phsub"}, {C::Horizontal});
  r.prefixed({"pdp", "p4dp", "pmacs", "pmadcs", "tdp"}, {C::DotProduct});
  r.prefixed({"round", "rndscale", "rndfxpnt"}, {C::Rounding});
  r.prefixed({"pternlog"}, {C::Logical});
  r.prefixed({"psll", "psrl", "psra", "prol", "pror", "prot", "pshl", "pshr", "psha"}, {C::ShiftRotate});
  r.prefixed({"getexp", "getmant", "scalef", "exp2", "fixupimm", "fixupnan", "range", "reduce", "log2", "frcz"},
             {C::ExponentMantissa});
  r.prefixed({"popcnt", "plzcnt", "pconflict"}, {C::BitManipulation});
  r.prefixed({"broadcast", "pbroadcast"}, {C::Broadcast});
  r.prefixed({"shuf", "pshuf", "perm", "pperm", "palignr", "align"}, {C::Shuffle});
  r.prefixed({"blend", "pblend"}, {C::Blend});
  r.prefixed({"insert", "extract", "pinsr", "pextr", "movmsk"}, {C::InsertExtract});
  r.prefixed({"unpck", "punpck"}, {C::Unpack});
  r.prefixed({"packss", "packus"}, {C::Pack});
  r.prefixed({"pmovsx", "pmovzx"}, {C::ExtendingMove});
  r.prefixed({"pmovm2"}, {C::MaskRegister});
  r.prefixed({"movnt"}, {C::Move, C::NonTemporal});
  r.prefixed({"movdqa", "movdqu", "loadunpack", "packstore", "maskmov", "pmaskmov"}, {C::Move});
  // Every mnemonic that begins with "k" is an AVX-512 or many-core mask
  // register operation.
  r.prefixed({"k"}, {C::MaskRegister});
  return r;
}

const Rules& rules() {
  static const Rules built = buildRules();
  return built;
}

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }
bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The VEX/EVEX forms add a "v" to the legacy name. The virtualisation
// mnemonics (vmcall, verr ...) also begin with "v"; stripped, they match no
// rule, which is what they deserve.
std::string_view withoutVexPrefix(std::string_view mnemonic) {
  if (mnemonic.size() > 1 && mnemonic.front() == 'v') return mnemonic.substr(1);
  return mnemonic;
}

}  // namespace

class_mask_t classesOfMnemonic(std::string_view mnemonic) {
  const Rules& r = rules();
  if (auto it = r.exact.find(mnemonic); it != r.exact.end()) return it->second;
  const std::string_view base = withoutVexPrefix(mnemonic);
  if (auto it = r.exact.find(base); it != r.exact.end()) return it->second;
  for (const PrefixRule& rule : r.prefixes) {
    if (startsWith(base, rule.prefix)) return rule.classes;
  }
  return {};
}

bool isSingleElementMnemonic(std::string_view mnemonic) {
  const std::string_view base = withoutVexPrefix(mnemonic);
  // Broadcasts read one element but fill every lane.
  if (startsWith(base, "broadcast") || startsWith(base, "pbroadcast")) return false;
  for (std::string_view element : {"movd", "movq", "movw"}) {
    if (base == element) return true;
  }
  for (std::string_view prefix : {"pinsr", "pextr", "extractps", "insertps"}) {
    if (startsWith(base, prefix)) return true;
  }
  // Scalar floating-point forms end in the type of their one element; scalar
  // conversions name it on one side ("cvtsi2sd", "cvttsd2si", "cvtsd2usi").
  // Packed integer mnemonics begin with "p" and may end alike ("vpdpwssd").
  if (startsWith(base, "p")) return false;
  for (std::string_view suffix : {"ss", "sd", "sh", "2si", "2usi"}) {
    if (endsWith(base, suffix)) return true;
  }
  return startsWith(base, "cvtsi2") || startsWith(base, "cvtusi2");
}

}  // namespace assembler_analysis
