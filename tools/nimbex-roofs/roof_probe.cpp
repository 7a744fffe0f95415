#include "tools/nimbex-roofs/roof_probe.h"

#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "platform/foundation/json_writer.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace nimbex_roofs {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint64_t kMemory = 1, kCompute = 2, kInteger = 4, kOneThread = 8, kVector = 16, kFma = 32;

uint64_t readSize(const std::string& path) {
  std::ifstream in(path);
  std::string text;
  if (!(in >> text) || text.empty()) return 0;
  uint64_t value = std::strtoull(text.c_str(), nullptr, 10);
  switch (text.back()) {
    case 'K': return value << 10;
    case 'M': return value << 20;
    case 'G': return value << 30;
    default: return value;
  }
}

// ---------------------------------------------------------------------------
// Bandwidth: sums of an aligned buffer with independent accumulators, so that
// the loads, not the adds, are what limits the loop. The widest loads the CPU
// has are used; narrower ones would not reach the L1 figure.

volatile double gSink;

#if defined(__x86_64__)
__attribute__((target("avx512f"))) double sum512(const double* p, size_t n) {
  __m512d s0 = _mm512_setzero_pd(), s1 = s0, s2 = s0, s3 = s0;
  for (size_t i = 0; i + 32 <= n; i += 32) {
    s0 = _mm512_add_pd(s0, _mm512_load_pd(p + i));
    s1 = _mm512_add_pd(s1, _mm512_load_pd(p + i + 8));
    s2 = _mm512_add_pd(s2, _mm512_load_pd(p + i + 16));
    s3 = _mm512_add_pd(s3, _mm512_load_pd(p + i + 24));
  }
  double lanes[8];
  _mm512_storeu_pd(lanes, _mm512_add_pd(_mm512_add_pd(s0, s1), _mm512_add_pd(s2, s3)));
  return lanes[0] + lanes[1] + lanes[2] + lanes[3] + lanes[4] + lanes[5] + lanes[6] + lanes[7];
}

__attribute__((target("avx"))) double sum256(const double* p, size_t n) {
  __m256d s0 = _mm256_setzero_pd(), s1 = s0, s2 = s0, s3 = s0;
  for (size_t i = 0; i + 16 <= n; i += 16) {
    s0 = _mm256_add_pd(s0, _mm256_load_pd(p + i));
    s1 = _mm256_add_pd(s1, _mm256_load_pd(p + i + 4));
    s2 = _mm256_add_pd(s2, _mm256_load_pd(p + i + 8));
    s3 = _mm256_add_pd(s3, _mm256_load_pd(p + i + 12));
  }
  __m256d s = _mm256_add_pd(_mm256_add_pd(s0, s1), _mm256_add_pd(s2, s3));
  double lanes[4];
  _mm256_storeu_pd(lanes, s);
  return lanes[0] + lanes[1] + lanes[2] + lanes[3];
}
#endif

double sumPortable(const double* p, size_t n) {
  double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  for (size_t i = 0; i + 4 <= n; i += 4) {
    s0 += p[i];
    s1 += p[i + 1];
    s2 += p[i + 2];
    s3 += p[i + 3];
  }
  return s0 + s1 + s2 + s3;
}

using SumKernel = double (*)(const double*, size_t);

SumKernel widestSum() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) return sum512;
  if (__builtin_cpu_supports("avx")) return sum256;
#endif
  return sumPortable;
}

// ---------------------------------------------------------------------------
// Peaks: ten independent register chains of one instruction, so that neither
// latency nor memory stands in the way. Operands start at zero: no denormals.

#if defined(__x86_64__)
#define NB_REP10(I) I(0) I(1) I(2) I(3) I(4) I(5) I(6) I(7) I(8) I(9)
#define NB_CLOBBERS                                                                                          \
  "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", \
      "xmm13", "xmm14", "xmm15", "cc"
#define NB_ZERO_Z(n) "vpxord %%zmm" #n ", %%zmm" #n ", %%zmm" #n "\n\t"
#define NB_ZERO_Y(n) "vxorpd %%ymm" #n ", %%ymm" #n ", %%ymm" #n "\n\t"
#define NB_ZERO_X(n) "xorpd %%xmm" #n ", %%xmm" #n "\n\t"
#define NB_ZERO(Z) NB_REP10(Z) Z(14) Z(15)
#define NB_KERNEL(name, zero, op, tail)                                          \
  void name(uint64_t iterations) {                                                \
    asm volatile(NB_ZERO(zero) "1:\n\t" NB_REP10(op) "dec %0\n\tjnz 1b\n\t" tail \
                 : "+r"(iterations)                                               \
                 :                                                                \
                 : NB_CLOBBERS);                                                  \
  }

#define NB_FMA_PD_Z(n) "vfmadd231pd %%zmm15, %%zmm14, %%zmm" #n "\n\t"
#define NB_FMA_PD_Y(n) "vfmadd231pd %%ymm15, %%ymm14, %%ymm" #n "\n\t"
#define NB_FMA_SD(n) "vfmadd231sd %%xmm15, %%xmm14, %%xmm" #n "\n\t"
#define NB_ADD_PD_Z(n) "vaddpd %%zmm15, %%zmm" #n ", %%zmm" #n "\n\t"
#define NB_ADD_PD_Y(n) "vaddpd %%ymm15, %%ymm" #n ", %%ymm" #n "\n\t"
#define NB_ADD_PD_X(n) "addpd %%xmm15, %%xmm" #n "\n\t"
#define NB_ADD_SD(n) "addsd %%xmm15, %%xmm" #n "\n\t"
#define NB_ADD_Q_Z(n) "vpaddq %%zmm15, %%zmm" #n ", %%zmm" #n "\n\t"
#define NB_ADD_Q_Y(n) "vpaddq %%ymm15, %%ymm" #n ", %%ymm" #n "\n\t"
#define NB_ADD_Q_X(n) "paddq %%xmm15, %%xmm" #n "\n\t"

NB_KERNEL(fmaPdZ, NB_ZERO_Z, NB_FMA_PD_Z, "vzeroupper")
NB_KERNEL(fmaPdY, NB_ZERO_Y, NB_FMA_PD_Y, "vzeroupper")
NB_KERNEL(fmaSd, NB_ZERO_Y, NB_FMA_SD, "vzeroupper")
NB_KERNEL(addPdZ, NB_ZERO_Z, NB_ADD_PD_Z, "vzeroupper")
NB_KERNEL(addPdY, NB_ZERO_Y, NB_ADD_PD_Y, "vzeroupper")
NB_KERNEL(addPdX, NB_ZERO_X, NB_ADD_PD_X, "")
NB_KERNEL(addSd, NB_ZERO_X, NB_ADD_SD, "")
NB_KERNEL(addQZ, NB_ZERO_Z, NB_ADD_Q_Z, "vzeroupper")
NB_KERNEL(addQY, NB_ZERO_Y, NB_ADD_Q_Y, "vzeroupper")
NB_KERNEL(addQX, NB_ZERO_X, NB_ADD_Q_X, "")

// Eight chains in general registers; the loop counter takes another.
void addScalarInt(uint64_t iterations) {
  asm volatile(
      "xor %%r8d, %%r8d\n\txor %%r9d, %%r9d\n\txor %%r10d, %%r10d\n\txor %%r11d, %%r11d\n\t"
      "xor %%r12d, %%r12d\n\txor %%r13d, %%r13d\n\txor %%r14d, %%r14d\n\txor %%r15d, %%r15d\n\t"
      "1:\n\t"
      "add $1, %%r8\n\tadd $1, %%r9\n\tadd $1, %%r10\n\tadd $1, %%r11\n\t"
      "add $1, %%r12\n\tadd $1, %%r13\n\tadd $1, %%r14\n\tadd $1, %%r15\n\t"
      "dec %0\n\tjnz 1b\n\t"
      : "+r"(iterations)
      :
      : "r8", "r9", "r10", "r11", "r12", "r13", "r14", "r15", "cc");
}
#endif

struct Peak {
  const char* name;
  uint64_t bits;
  void (*kernel)(uint64_t);
  double operationsPerIteration;
};

std::vector<Peak> peaksOfThisCpu() {
  std::vector<Peak> peaks;
#if defined(__x86_64__)
  bool avx512 = __builtin_cpu_supports("avx512f");
  bool avx = __builtin_cpu_supports("avx");
  bool avx2 = __builtin_cpu_supports("avx2");
  bool fma = __builtin_cpu_supports("fma");
  // Ten instructions an iteration; an FMA counts two operations a lane.
  if (avx512) peaks.push_back({"DP Vector FMA Peak", kCompute | kVector | kFma, fmaPdZ, 10 * 8 * 2});
  else if (fma) peaks.push_back({"DP Vector FMA Peak", kCompute | kVector | kFma, fmaPdY, 10 * 4 * 2});
  if (avx512) peaks.push_back({"DP Vector Add Peak", kCompute | kVector, addPdZ, 10 * 8});
  else if (avx) peaks.push_back({"DP Vector Add Peak", kCompute | kVector, addPdY, 10 * 4});
  else peaks.push_back({"DP Vector Add Peak", kCompute | kVector, addPdX, 10 * 2});
  if (fma) peaks.push_back({"Scalar FMA Peak", kCompute | kFma, fmaSd, 10 * 2});
  peaks.push_back({"Scalar Add Peak", kCompute, addSd, 10});
  if (avx512) peaks.push_back({"Int64 Vector Add Peak", kCompute | kInteger | kVector, addQZ, 10 * 8});
  else if (avx2) peaks.push_back({"Int64 Vector Add Peak", kCompute | kInteger | kVector, addQY, 10 * 4});
  else peaks.push_back({"Int64 Vector Add Peak", kCompute | kInteger | kVector, addQX, 10 * 2});
  peaks.push_back({"Int64 Scalar Add Peak", kCompute | kInteger, addScalarInt, 8});
#endif
  return peaks;
}

// ---------------------------------------------------------------------------

/// Runs `work(thread)` on `threads` threads started together; the seconds
/// from the common start to the last one's end.
double runTogether(unsigned threads, const std::function<void(unsigned)>& work) {
  if (threads <= 1) {
    auto start = Clock::now();
    work(0);
    return std::chrono::duration<double>(Clock::now() - start).count();
  }
  std::barrier sync(static_cast<std::ptrdiff_t>(threads) + 1);
  std::vector<std::thread> pool;
  for (unsigned t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      sync.arrive_and_wait();
      work(t);
    });
  auto start = Clock::now();
  sync.arrive_and_wait();
  for (auto& th : pool) th.join();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The best rate of a few timed runs of `repeat(n)` (n chosen to fill
/// `seconds`), in units of `unitsPerRepeat` per second.
double bestRate(double seconds, double unitsPerRepeat, const std::function<double(uint64_t)>& timedRun) {
  uint64_t n = 1;
  double t = timedRun(n);
  while (t < 0.002 && n < (uint64_t(1) << 40)) {
    n *= 4;
    t = timedRun(n);
  }
  constexpr int kRuns = 3;
  n = std::max<uint64_t>(1, static_cast<uint64_t>(n * (seconds / kRuns) / std::max(t, 1e-9)));
  double best = 0;
  for (int run = 0; run < kRuns; ++run) {
    t = timedRun(n);
    if (t > 0) best = std::max(best, n * unitsPerRepeat / t);
  }
  return best;
}

struct Buffer {
  double* data = nullptr;
  size_t count = 0;
  explicit Buffer(size_t bytes) {
    count = std::max<size_t>(bytes / sizeof(double) / 32 * 32, 32);
    data = static_cast<double*>(std::aligned_alloc(64, count * sizeof(double)));
    // The first touch places the pages near the thread that reads them.
    if (data) std::fill(data, data + count, 1.0);
  }
  ~Buffer() { std::free(data); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
};

double bandwidth(double seconds, unsigned threads, size_t bytesPerThread, SumKernel sum) {
  std::vector<std::unique_ptr<Buffer>> buffers(threads);
  runTogether(threads, [&](unsigned t) { buffers[t] = std::make_unique<Buffer>(bytesPerThread); });
  for (const auto& b : buffers)
    if (!b->data) return 0;
  double bytes = static_cast<double>(buffers[0]->count * sizeof(double)) * threads;
  return bestRate(seconds, bytes, [&](uint64_t repeats) {
    return runTogether(threads, [&](unsigned t) {
      double s = 0;
      for (uint64_t r = 0; r < repeats; ++r) s += sum(buffers[t]->data, buffers[t]->count);
      gSink = s;
    });
  });
}

uint64_t availableMemory() {
  long pages = sysconf(_SC_AVPHYS_PAGES), size = sysconf(_SC_PAGESIZE);
  return pages > 0 && size > 0 ? static_cast<uint64_t>(pages) * static_cast<uint64_t>(size) : 0;
}

}  // namespace

Caches readCaches(const std::string& cpuDir) {
  Caches caches;
  for (int index = 0; index < 8; ++index) {
    std::string dir = cpuDir + "/cache/index" + std::to_string(index);
    std::ifstream typeFile(dir + "/type"), levelFile(dir + "/level");
    std::string type;
    int level = 0;
    if (!(typeFile >> type) || !(levelFile >> level)) continue;
    if (type == "Instruction") continue;
    uint64_t size = readSize(dir + "/size");
    if (level == 1) caches.l1 = size;
    else if (level == 2) caches.l2 = size;
    else if (level == 3) caches.l3 = size;
  }
  return caches;
}

std::vector<Roof> measureRoofs(const ProbeOptions& options, const Caches& caches) {
  unsigned all = options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
  std::vector<Peak> peaks = peaksOfThisCpu();
  struct Level {
    const char* name;
    uint64_t bytes;  // per thread when private, in all when shared
    bool shared;
  };
  // Half of each cache, so that the level itself holds the buffer. A shared
  // L3 is often listed as the whole package's, more than one core reaches
  // quickly: 16 MiB at most. Memory must be far beyond any cache.
  uint64_t dram = std::clamp<uint64_t>(availableMemory() / 4, uint64_t(64) << 20, uint64_t(512) << 20);
  std::vector<Level> levels = {
      {"L1 Bandwidth", caches.l1 ? caches.l1 / 2 : 16 << 10, false},
      {"L2 Bandwidth", caches.l2 ? caches.l2 / 2 : 128 << 10, false},
  };
  if (caches.l3) levels.push_back({"L3 Bandwidth", std::min<uint64_t>(caches.l3 / 2, 16 << 20), true});
  levels.push_back({"DRAM Bandwidth", dram, true});

  size_t measurements = (levels.size() + peaks.size()) * (all > 1 ? 2 : 1);
  double each = options.seconds / static_cast<double>(std::max<size_t>(measurements, 1));
  SumKernel sum = widestSum();
  std::vector<Roof> roofs;
  auto add = [&](const char* name, double value, uint64_t bits) {
    if (value <= 0) return;
    roofs.push_back({name, static_cast<uint64_t>(value), bits | kOneThread});
    // With one hardware thread the all-thread figure is the same one.
    if (all == 1) roofs.push_back({name, static_cast<uint64_t>(value), bits});
  };
  // All threads do at least what one does; less means the probe shared the
  // cores with other work, and the single-thread figure is the better guess.
  auto addAll = [&](const char* name, double value, uint64_t bits) {
    for (const Roof& one : roofs)
      if (one.name == name && one.secondWord == (bits | kOneThread)) value = std::max(value, double(one.value));
    if (value > 0) roofs.push_back({name, static_cast<uint64_t>(value), bits});
  };
  for (const Level& level : levels) {
    add(level.name, bandwidth(each, 1, level.bytes, sum), kMemory);
    if (all > 1) addAll(level.name, bandwidth(each, all, level.shared ? level.bytes / all : level.bytes, sum), kMemory);
  }
  for (const Peak& peak : peaks) {
    for (unsigned threads : {1u, all}) {
      double rate = bestRate(each, peak.operationsPerIteration * threads, [&](uint64_t n) {
        return runTogether(threads, [&](unsigned) { peak.kernel(n); });
      });
      if (threads == 1) add(peak.name, rate, peak.bits);
      else addAll(peak.name, rate, peak.bits);
      if (all == 1) break;
    }
  }
  return roofs;
}

std::string roofsJson(const std::vector<Roof>& roofs, const Caches& caches, unsigned threads, const std::string& cpu) {
  std::string out = "{\n  \"cpu\": ";
  foundation::append_json_string(out, cpu);
  out += ",\n  \"threads\": " + std::to_string(threads);
  out += ",\n  \"caches\": {\"L1\": " + std::to_string(caches.l1) + ", \"L2\": " + std::to_string(caches.l2) +
         ", \"L3\": " + std::to_string(caches.l3) + "}";
  out += ",\n  \"roofs\": [";
  for (size_t i = 0; i < roofs.size(); ++i) {
    out += i ? ",\n    " : "\n    ";
    out += "{ \"name\": ";
    foundation::append_json_string(out, roofs[i].name);
    out += ", \"value\": " + std::to_string(roofs[i].value) + ", \"secondWord\": " + std::to_string(roofs[i].secondWord) + " }";
  }
  out += "\n  ]\n}\n";
  return out;
}

}  // namespace nimbex_roofs
