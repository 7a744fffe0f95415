#pragma once
// nimbex-collect: profiles a program with the open tools (perf, optionally
// callgrind), measures the machine's roofs once, and imports all of it into a
// result directory that nimbex-cl reads.

#include <string>
#include <vector>

namespace nimbex_collect {

struct Options {
  std::string projectDir;
  std::string expDir;
  bool counts = false;                  ///< also the callgrind run: trip counts, mixes, roofline positions
  unsigned frequency = 1000;            ///< samples per second
  std::string callGraph = "fp";         ///< "fp" or "dwarf"
  std::vector<std::string> remarkDirs;  ///< passed on to the importer
  std::string roofs;                    ///< a roofs file to use instead of the cached measurement
  std::vector<std::string> command;     ///< the program and its arguments
};

/// Parses the command line; false with a one-line error (or the usage on
/// --help, with `help` set).
bool parseOptions(int argc, char** argv, Options& options, bool& help, std::string& error);
std::string usageText();

/// Where a tool named `name` is: beside this executable, in its build-tree
/// sibling directory (tools/<name>/<name>), or on PATH. "" when nowhere.
std::string findTool(const std::string& name, const std::string& selfDir);

/// The Debian package that provides `tool` ("perf" -> "linux-perf").
std::string packageOf(const std::string& tool);

/// Runs every step; messages and errors go to standard error, the final
/// advice to standard output. The exit code of the tool.
int runCollect(const Options& options, const std::string& selfDir);

}  // namespace nimbex_collect
