#include "platform/system_info/system_info.h"

#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

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

}  // namespace system_info
