#pragma once
// Command line of nimbex-cl.
//
//   nimbex-cl -report issues -project-dir DIR --exp-dir NAME
//             [-format=text|xml|html|sarif] [--report-output FILE] ...
//
// Long options are accepted with one dash or two, because the host starts the
// tool as "-report issues -project-dir DIR --exp-dir NAME -format=xml
// --report-output FILE" and users type either form.

#include <string>
#include <vector>

namespace nimbex_cl {

enum class ReportFormat { Text, Xml, Html, Sarif };

struct Options {
  std::string report;         ///< the report kind; only "issues" exists
  std::string projectDir;
  std::string expDir;         ///< result directory name inside projectDir
  ReportFormat format = ReportFormat::Text;
  std::string reportOutput;   ///< empty: the result's issues.xml (xml) or standard output (the others)
  bool rescan = false;        ///< ignore a cached report
  bool verbose = false;
  bool noProgress = false;
  bool help = false;
  bool version = false;
  int topLoops = 0;           ///< text report: 0 shows every loop with findings

  std::string resultDir() const;
};

/// Exit codes of the tool.
enum ExitCode : int {
  ExitOk = 0,
  ExitFailure = 1,      ///< the run failed (report could not be written, ...)
  ExitUsage = 2,        ///< bad command line
  ExitBadResult = 3,    ///< the result directory is missing or broken
  ExitCancelled = 130,  ///< interrupted by the user (Ctrl-C)
  ExitTerminated = 143,  ///< ended by SIGTERM, cleanly as on Ctrl-C
};

/// Parses `args` (without the program name). On failure returns false and
/// sets `error` to one line that says what is wrong and what to do.
bool parseOptions(const std::vector<std::string>& args, Options& options, std::string& error);

/// The text of --help.
std::string usageText();

}  // namespace nimbex_cl
