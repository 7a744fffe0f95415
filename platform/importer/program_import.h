#pragma once
// A result directory made from a real build and run: the program's binary,
// the compilers' optimization records, perf samples and, when given, a
// callgrind run, joined into result.json (docs/result-format.md).

#include <cstddef>
#include <string>
#include <vector>

namespace nimbex::importer {

struct ImportInputs {
  std::string binary;                   ///< the profiled program, with symbols and DWARF
  std::string perfScript;               ///< text of `perf script`; "" for none
  std::vector<std::string> remarkDirs;  ///< scanned for records; none: the units' compile directories
  std::string callgrind;                ///< callgrind output; "" for none
  std::string roofs;                    ///< JSON with a "roofs" array; "" for none
  std::string outDir;                   ///< result directory; created when missing
};

/// What an import found, for the tool to tell its user.
struct ImportSummary {
  std::size_t functions = 0, loops = 0, machineLoops = 0, remarks = 0, joinedRemarks = 0, samples = 0;
  std::vector<std::string> warnings;  ///< one line each: a missing optional input, an unjoined record
};

/// Reads the inputs and writes `outDir`/result.json atomically. False with a
/// one-line error naming the file and place when a given input is missing
/// or broken, the binary is stripped, or the samples or records are of
/// another program.
bool importProgram(const ImportInputs& inputs, ImportSummary& summary, std::string& error);

/// The result.json text, without writing it (for tests).
bool importProgramText(const ImportInputs& inputs, ImportSummary& summary, std::string& text, std::string& error);

}  // namespace nimbex::importer
