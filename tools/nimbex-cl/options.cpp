#include "tools/nimbex-cl/options.h"

#include <sstream>

#include <boost/program_options.hpp>

namespace po = boost::program_options;

namespace nimbex_cl {

namespace {

po::options_description describe() {
  po::options_description desc("Options");
  // clang-format off
  desc.add_options()
    ("help,h", "show this help and exit")
    ("version", "show the version and exit")
    ("report", po::value<std::string>(), "the report to make; only \"issues\" exists")
    ("project-dir", po::value<std::string>(), "the project directory that holds the result")
    ("exp-dir", po::value<std::string>(), "the result directory's name inside the project directory")
    ("format", po::value<std::string>()->default_value("text"), "text (default), xml, html or sarif")
    ("report-output", po::value<std::string>(), "write the report to this file instead of the default place")
    ("rescan", "scan again even when the result holds an up-to-date report")
    ("top", po::value<int>()->default_value(0), "text report: show only the N hottest loops (0: all)")
    ("no-progress", "never draw the progress bar")
    ("verbose,v", "say where the findings came from and how long it took");
  // clang-format on
  return desc;
}

}  // namespace

std::string Options::resultDir() const {
  if (projectDir.empty()) return expDir;
  if (expDir.empty()) return projectDir;
  return projectDir + "/" + expDir;
}

std::string usageText() {
  std::ostringstream out;
  out << "Usage: nimbex-cl -report issues -project-dir DIR --exp-dir NAME [options]\n\n"
      << "Runs the detectors on the result DIR/NAME and prints the loops with their\n"
      << "issues and recommendations, hottest first (-format=text), writes the\n"
      << "report issues.xml (-format=xml), a page with the roofline chart\n"
      << "(-format=html) or a SARIF log for code-scanning tools (-format=sarif).\n\n"
      << describe();
  return out.str();
}

bool parseOptions(const std::vector<std::string>& args, Options& options, std::string& error) {
  po::variables_map vm;
  try {
    // No guessing of abbreviated long options: "-v" must mean --verbose, not
    // "ambiguous between --verbose and --version".
    const int style = (po::command_line_style::unix_style & ~po::command_line_style::allow_guessing) |
                      po::command_line_style::allow_long_disguise;
    po::store(po::command_line_parser(args).options(describe()).style(style).run(), vm);
    po::notify(vm);
  } catch (const po::error& e) {
    // Boost reports bad options by exception; turn it into our one-line error.
    error = std::string(e.what()) + " (see nimbex-cl --help)";
    return false;
  }

  options.help = vm.count("help") != 0;
  options.version = vm.count("version") != 0;
  if (options.help || options.version) return true;

  options.rescan = vm.count("rescan") != 0;
  options.verbose = vm.count("verbose") != 0;
  options.noProgress = vm.count("no-progress") != 0;
  options.topLoops = vm["top"].as<int>();
  if (options.topLoops < 0) {
    error = "--top takes a number of loops of 0 or more";
    return false;
  }

  if (!vm.count("report")) {
    error = "missing -report; run: nimbex-cl -report issues -project-dir DIR --exp-dir NAME";
    return false;
  }
  options.report = vm["report"].as<std::string>();
  if (options.report != "issues") {
    error = "unknown report '" + options.report + "'; the only report is 'issues'";
    return false;
  }
  if (vm.count("project-dir")) options.projectDir = vm["project-dir"].as<std::string>();
  if (vm.count("exp-dir")) options.expDir = vm["exp-dir"].as<std::string>();
  if (options.projectDir.empty() && options.expDir.empty()) {
    error = "missing -project-dir DIR (and --exp-dir NAME): say which result to analyse";
    return false;
  }

  const std::string format = vm["format"].as<std::string>();
  if (format == "text") {
    options.format = ReportFormat::Text;
  } else if (format == "xml") {
    options.format = ReportFormat::Xml;
  } else if (format == "html") {
    options.format = ReportFormat::Html;
  } else if (format == "sarif") {
    options.format = ReportFormat::Sarif;
  } else {
    error = "unknown -format '" + format + "'; use -format=text, xml, html or sarif";
    return false;
  }
  if (vm.count("report-output")) options.reportOutput = vm["report-output"].as<std::string>();
  return true;
}

}  // namespace nimbex_cl
