// nimbex-import: makes a result directory from a real build and run.
//
//   nimbex-import --binary ./app --perf perf.txt [--callgrind cg.out]
//                 [--remarks BUILD_DIR]... [--roofs roofs.json] --out RESULT_DIR

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include <boost/program_options.hpp>

#include "platform/importer/program_import.h"

namespace po = boost::program_options;

int main(int argc, char** argv) {
  nimbex::importer::ImportInputs inputs;
  bool quiet = false;
  po::options_description visible("Usage: nimbex-import --binary PROGRAM --out RESULT_DIR [options]\nOptions");
  visible.add_options()
      ("help,h", "show this help")
      ("binary", po::value<std::string>(&inputs.binary), "the profiled program, built with -g and not stripped")
      ("perf", po::value<std::string>(&inputs.perfScript),
       "text of `perf script --no-inline --show-mmap-events -F comm,tid,time,period,ip,sym,dso` of a `perf record -g` run")
      ("callgrind", po::value<std::string>(&inputs.callgrind),
       "output of `valgrind --tool=callgrind --dump-instr=yes --collect-jumps=yes` (trip counts, mixes, roofline)")
      ("remarks", po::value<std::vector<std::string>>(&inputs.remarkDirs),
       "directory with *.opt-record.json.gz / *.opt.yaml records (repeatable; default: the compile directories)")
      ("roofs", po::value<std::string>(&inputs.roofs), "roofs of the machine, as nimbex-roofs writes them")
      ("out", po::value<std::string>(&inputs.outDir), "result directory to write (result.json inside)")
      ("quiet,q", po::bool_switch(&quiet), "print errors only");
  po::variables_map values;
  try {
    po::store(po::command_line_parser(argc, argv).options(visible).run(), values);
    po::notify(values);
  } catch (const po::error& e) {
    std::cerr << "nimbex-import: " << e.what() << "\n" << visible;
    return 1;
  }
  if (values.count("help")) {
    std::cout << visible;
    return 0;
  }
  if (inputs.binary.empty() || inputs.outDir.empty()) {
    std::cerr << "nimbex-import: --binary and --out are required\n" << visible;
    return 1;
  }
  const auto start = std::chrono::steady_clock::now();
  nimbex::importer::ImportSummary summary;
  std::string error;
  const bool ok = nimbex::importer::importProgram(inputs, summary, error);
  for (const std::string& warning : summary.warnings) std::cerr << "nimbex-import: warning: " << warning << "\n";
  if (!ok) {
    std::cerr << "nimbex-import: " << error << "\n";
    return 1;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!quiet) {
    std::printf("nimbex-import: %zu loops (%zu in the machine code) in %zu functions, %zu of %zu compiler records joined, "
                "%zu samples; wrote %s/result.json in %.2f s\n",
                summary.loops, summary.machineLoops, summary.functions, summary.joinedRemarks, summary.remarks,
                summary.samples, inputs.outDir.c_str(), seconds);
  }
  return 0;
}
