#pragma once
// Measures this machine's roofs: the bandwidth of each cache level and of
// memory, and the peaks of scalar and vector arithmetic, for one thread and
// for all of them.

#include <cstdint>
#include <string>
#include <vector>

namespace nimbex_roofs {

/// One roof as the result format lists it (docs/result-format.md, "roofs").
struct Roof {
  std::string name;
  uint64_t value = 0;       // bytes/s or operations/s
  uint64_t secondWord = 0;  // class bits: 1 memory, 2 compute, 4 integer, 8 one thread, 16 vector, 32 FMA
};

/// Data cache sizes in bytes, 0 where unknown.
struct Caches {
  uint64_t l1 = 0, l2 = 0, l3 = 0;
};

/// The data and unified caches of cpu0 as sysfs lists them below `cpuDir`
/// (normally /sys/devices/system/cpu/cpu0).
Caches readCaches(const std::string& cpuDir);

struct ProbeOptions {
  double seconds = 3.0;  // the whole measurement, roughly
  unsigned threads = 0;  // 0: every hardware thread
};

/// Runs every measurement this CPU supports. Never fails: a roof that cannot
/// be measured here is left out.
std::vector<Roof> measureRoofs(const ProbeOptions& options, const Caches& caches);

/// {"cpu": ..., "threads": N, "caches": {...}, "roofs": [...]}
std::string roofsJson(const std::vector<Roof>& roofs, const Caches& caches, unsigned threads, const std::string& cpu);

}  // namespace nimbex_roofs
