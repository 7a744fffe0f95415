#include "platform/system_info/system_info.h"

#include <atomic>

#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace system_info {

namespace {

// Compilers spell one instruction set in several ways ("SSE4.2", "sse4_2");
// folding case and separators lets one table cover them all.
std::string normalise(const char* name) {
  std::string out;
  for (const char* p = name; *p; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c == '-' || c == '_' || c == '.' || std::isspace(c)) continue;
    out.push_back(static_cast<char>(std::tolower(c)));
  }
  return out;
}

struct IsaName {
  std::string_view name;
  SystemInfo::IsaExtensions level;
};

constexpr IsaName kIsaNames[] = {
    {"sse", SystemInfo::IsaSse},
    {"sse2", SystemInfo::IsaSse2},
    {"sse3", SystemInfo::IsaSse3},
    {"ssse3", SystemInfo::IsaSsse3},
    {"sse41", SystemInfo::IsaSse41},
    {"sse42", SystemInfo::IsaSse42},
    {"avx", SystemInfo::IsaAvx},
    {"avx2", SystemInfo::IsaAvx2},
    {"avx512", SystemInfo::IsaAvx512},
    {"avx512f", SystemInfo::IsaAvx512},
    {"avx512er", SystemInfo::IsaAvx512ManyCore},
    {"avx512pf", SystemInfo::IsaAvx512ManyCore},
    {"avx512mic", SystemInfo::IsaAvx512ManyCore},
    {"avx512bw", SystemInfo::IsaAvx512Core},
    {"avx512dq", SystemInfo::IsaAvx512Core},
    {"avx512vl", SystemInfo::IsaAvx512Core},
    {"avx512core", SystemInfo::IsaAvx512Core},
    {"avx512vnni", SystemInfo::IsaAvx512Vnni},
    {"avx512vbmi", SystemInfo::IsaAvx512Vnni},
    {"avx512ifma", SystemInfo::IsaAvx512Vnni},
    {"avx512bf16", SystemInfo::IsaAvx512Vnni},
};

#if defined(__x86_64__) || defined(__i386__)

bool bit(unsigned word, int n) { return ((word >> n) & 1u) != 0; }

// The register state the operating system saves on a context switch; a
// processor feature whose registers it doesn't save can't be used.
std::uint64_t enabledRegisterState() {
  unsigned low = 0, high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (static_cast<std::uint64_t>(high) << 32) | low;
}

SystemInfo::IsaExtensions detectFromProcessor() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return SystemInfo::IsaNone;
  const unsigned ecx1 = ecx, edx1 = edx;

  SystemInfo::IsaExtensions level = SystemInfo::IsaNone;
  if (bit(edx1, 25)) level = SystemInfo::IsaSse;
  if (bit(edx1, 26)) level = SystemInfo::IsaSse2;
  if (level == SystemInfo::IsaSse2 && bit(ecx1, 0)) level = SystemInfo::IsaSse3;
  if (level == SystemInfo::IsaSse3 && bit(ecx1, 9)) level = SystemInfo::IsaSsse3;
  if (level == SystemInfo::IsaSsse3 && bit(ecx1, 19)) level = SystemInfo::IsaSse41;
  if (level == SystemInfo::IsaSse41 && bit(ecx1, 20)) level = SystemInfo::IsaSse42;
  // OSXSAVE must be set before xgetbv may be executed at all.
  if (level != SystemInfo::IsaSse42 || !bit(ecx1, 27) || !bit(ecx1, 28)) return level;
  const std::uint64_t state = enabledRegisterState();
  if ((state & 0x6) != 0x6) return level;  // XMM and YMM state
  level = SystemInfo::IsaAvx;

  if (!__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx)) return level;
  // The ladder's AVX2 level includes fused multiply-add.
  if (!bit(ebx, 5) || !bit(ecx1, 12)) return level;
  level = SystemInfo::IsaAvx2;

  if (!bit(ebx, 16) || (state & 0xe6) != 0xe6) return level;  // AVX-512F; opmask and ZMM state
  level = SystemInfo::IsaAvx512;
  if (bit(ebx, 26) || bit(ebx, 27)) return SystemInfo::IsaAvx512ManyCore;  // PF, ER
  if (bit(ebx, 17) && bit(ebx, 30) && bit(ebx, 31)) {                    // DQ, BW, VL
    level = SystemInfo::IsaAvx512Core;
    if (bit(ecx, 11)) level = SystemInfo::IsaAvx512Vnni;
  }
  return level;
}

#else

SystemInfo::IsaExtensions detectFromProcessor() { return SystemInfo::IsaNone; }

#endif

}  // namespace

SystemInfo::IsaExtensions SystemInfo::getIsaType(const char* isaName) {
  if (!isaName) return IsaNone;
  const std::string name = normalise(isaName);
  for (const IsaName& entry : kIsaNames) {
    if (entry.name == name) return entry.level;
  }
  // Compilers keep inventing AVX-512 sub-names; all of them at least have the
  // common subset.
  if (name.rfind("avx512", 0) == 0) return IsaAvx512;
  return IsaNone;
}

std::string SystemInfo::getIsaAbbreviationAsString(IsaExtensions level) {
  switch (level) {
    case IsaSse: return "SSE";
    case IsaSse2: return "SSE2";
    case IsaSse3: return "SSE3";
    case IsaSsse3: return "SSSE3";
    case IsaSse41: return "SSE4.1";
    case IsaSse42: return "SSE4.2";
    case IsaAvx: return "AVX";
    case IsaAvx2: return "AVX2";
    case IsaAvx512: return "AVX-512F";
    case IsaAvx512ManyCore: return "AVX-512ER";
    case IsaAvx512Core: return "AVX-512BW";
    case IsaAvx512Vnni: return "AVX-512VNNI";
    case IsaNone: break;
  }
  return {};
}

int SystemInfo::getVectorLengthOfLevel(IsaExtensions level) {
  if (level >= IsaAvx512) return 512;
  if (level >= IsaAvx) return 256;
  if (level >= IsaSse) return 128;
  return 0;
}

SystemInfo::IsaExtensions SystemInfo::detectIsaExtensions() {
  static const IsaExtensions detected = detectFromProcessor();
  return detected;
}

namespace {
// -1 while no result has said which machine it was collected on.
std::atomic<long long> collectionMachine{-1};
}  // namespace

void SystemInfo::setCollectionMachine(IsaExtensions level) { collectionMachine.store(static_cast<long long>(level)); }

void SystemInfo::clearCollectionMachine() { collectionMachine.store(-1); }

SystemInfo::SystemInfo() {
  const long long collected = collectionMachine.load();
  level = collected >= 0 ? static_cast<IsaExtensions>(collected) : detectIsaExtensions();
}

SystemInfo::SystemInfo(IsaExtensions level) : level(level) {}

int SystemInfo::getMaxVectorLength() const { return getVectorLengthOfLevel(level); }

}  // namespace system_info
