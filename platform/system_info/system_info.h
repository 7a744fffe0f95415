#pragma once
// Facts about the machine a result was collected on and about instruction
// set names as compilers report them.

#include <cstdint>
#include <string>

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
/// value the controller gives passes through unchanged:
///
///   0  unknown
///  10  processor generation without a loop stream buffer (first of two)
///  11  processor generation without a loop stream buffer (second of two)
///  14  the many-core family with its own AVX-512 flavour (level 12)
///
/// An object describes one machine: by default the one the library runs on,
/// as the processor reports itself, or a machine of a given level (a result's
/// collection machine, a test's).
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

  /// The short name of a level as users know it: "SSE", "SSE2", "SSE3",
  /// "SSSE3", "SSE4.1", "SSE4.2", "AVX", "AVX2", and for the AVX-512 levels
  /// the extension that sets each apart: "AVX-512F", "AVX-512ER",
  /// "AVX-512BW", "AVX-512VNNI". IsaNone, the free numbers 8 and 9 and
  /// numbers beyond 14 give "".
  static std::string getIsaAbbreviationAsString(IsaExtensions level);

  /// Width in bits of the widest vector register of a level: 512 from
  /// AVX-512 on, 256 for AVX and AVX2, 128 for the SSE levels, 0 for IsaNone.
  static int getVectorLengthOfLevel(IsaExtensions level);

  /// The level of the processor this process runs on, as it reports itself
  /// and as the operating system enables it (a processor with AVX under a
  /// system that doesn't save the wide registers counts as SSE4.2). Asked
  /// once per process; IsaNone on processors of other architectures.
  static IsaExtensions detectIsaExtensions();

  /// "The machine": the one the loaded result was collected on, when the
  /// host layer has said so (setCollectionMachine), so that a result gets
  /// the same findings on every computer; otherwise the one this process
  /// runs on.
  SystemInfo();
  /// A machine of the given level.
  explicit SystemInfo(IsaExtensions level);

  IsaExtensions getIsaExtensions() const { return level; }

  /// Makes `level` the machine of default-made objects: a host does this
  /// when it loads a result with a machine of its own. Process-wide; the
  /// last result loaded wins.
  static void setCollectionMachine(IsaExtensions level);
  /// Default-made objects describe this computer again.
  static void clearCollectionMachine();
  /// Width in bits of the machine's widest vector register (see
  /// getVectorLengthOfLevel): 512 on an AVX-512 machine.
  int getMaxVectorLength() const;

 private:
  IsaExtensions level;
};

}  // namespace system_info
