#pragma once
// Samples of a `perf record -g` run, read from the text of
//   perf script --no-inline --show-mmap-events -F comm,tid,time,period,ip,sym,dso
//
//   app 12182   403.170454: PERF_RECORD_MMAP2 12182/12182: [0x5562a2836000(0x1000) @ 0x1000 ...]: r-xp /tmp/app
//   app 12182   403.171460:    1000000
//   	            11a2 saxpy (/tmp/app)
//   	           2724a __libc_start_call_main (/usr/lib/x86_64-linux-gnu/libc.so.6)
//   (a blank line ends the sample)
//
// With call chains perf prints each frame's address relative to its module,
// as the module's own symbol table counts (nm). A recording without call
// chains prints the sampled address on the header line as the process saw
// it; those are moved into the module's addresses through the mmap events.

#include <cstdint>
#include <string>
#include <vector>

namespace nimbex::importer {

struct PerfFrame {
  std::uint64_t address = 0;  ///< in the module's own addresses
  std::string symbol;         ///< "" when perf knew none
  std::string module;         ///< path as perf names it: "/tmp/app", "[kernel.kallsyms]"
};

struct PerfSample {
  std::uint32_t tid = 0;
  double time = 0.0;           ///< seconds; 0 without the time field
  std::uint64_t period = 1;    ///< ns for cpu-clock
  std::vector<PerfFrame> frames;  ///< the sampled address first, then return addresses
};

struct PerfMapping {
  std::string path;
  std::uint64_t start = 0, size = 0, offset = 0;
};

struct PerfScript {
  std::vector<PerfSample> samples;
  std::vector<PerfMapping> mappings;  ///< executable mappings, in event order
};

/// Reads a perf script text. False with "file:line: what" when a line is
/// neither a sample, a frame nor an event.
bool readPerfScript(const std::string& path, PerfScript& out, std::string& error);
bool parsePerfScript(const std::string& text, const std::string& name, PerfScript& out, std::string& error);

}  // namespace nimbex::importer
