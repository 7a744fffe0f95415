#pragma once
// Facts about the machine a result was collected on and about instruction
// set names as compilers report them.

#include <cstdint>

namespace system_info {

/// What the system-information service knows about processors and their
/// instruction set extensions.
///
/// `IsaExtensions` is a ladder, not a mask: each level includes everything
/// below it, and detectors compare levels with < and >= ("the machine has at
/// least AVX2"). The numbers are fixed because results and the host's
/// controller store them:
///
///   0  none or unknown     6  SSE4.2             12 AVX-512, many-core flavour
///   1  SSE                 7  AVX                13 AVX-512, server core flavour
///   2  SSE2                8  (kept free)        14 AVX-512 with the later
///   3  SSE3                9  (kept free)           integer extensions
///   4  SSSE3              10  AVX2 (with FMA)
///   5  SSE4.1             11  AVX-512, common subset
///
/// `CPUType` names only the processor kinds that the library tests; any other
/// value the controller gives passes through unchanged.
class SystemInfo {
 public:
  enum IsaExtensions : std::uint64_t {
    IsaNone = 0,
    IsaSse = 1,
    IsaSse2 = 2,
    IsaSse3 = 3,
    IsaSsse3 = 4,
    IsaSse41 = 5,
    IsaSse42 = 6,
    IsaAvx = 7,
    IsaAvx2 = 10,
    IsaAvx512 = 11,
    IsaAvx512ManyCore = 12,
    IsaAvx512Core = 13,
    IsaAvx512Vnni = 14,
  };

  enum CPUType : int {
    CpuUnknown = 0,
    /// Two processor generations without a loop stream buffer: a misaligned
    /// loop costs them even when it runs few iterations.
    CpuFamily10 = 10,
    CpuFamily11 = 11,
    /// The many-core family, whose AVX-512 flavour has its own reciprocals.
    CpuManyCore = 14,
  };

  /// The level of an instruction set name as a compiler reports it.
  ///
  /// Case, '-', '_', '.' and blanks are ignored, so "SSE4.2", "sse4_2" and
  /// "sse42" are one name. Recognised: "sse", "sse2", "sse3", "ssse3",
  /// "sse4.1", "sse4.2", "avx", "avx2"; "avx512" and "avx512f" give the common
  /// subset; "avx512er", "avx512pf" and "avx512mic" the many-core flavour;
  /// "avx512bw", "avx512dq", "avx512vl" and "avx512core" the server core;
  /// "avx512vnni", "avx512vbmi", "avx512ifma" and "avx512bf16" the latest
  /// level. Any other name that begins with "avx512" counts as the common
  /// subset. Null, empty and unknown names give IsaNone.
  static IsaExtensions getIsaType(const char* isaName);
};

}  // namespace system_info
