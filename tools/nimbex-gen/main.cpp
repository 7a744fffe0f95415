// nimbex-gen: writes a synthetic result directory.
//
//   nimbex-gen --rows 200000 --shape deep --call-tree --machine-code --seed 7 /tmp/deep

#include <cstdio>
#include <iostream>
#include <string>

#include <boost/program_options.hpp>

#include "tools/nimbex-gen/synthetic_result.h"

namespace po = boost::program_options;

int main(int argc, char** argv) {
  nimbex_gen::Options options;
  std::string shape = "mixed";
  po::options_description visible("Usage: nimbex-gen [options] OUTPUT_DIR\nOptions");
  visible.add_options()
      ("help,h", "show this help")
      ("rows", po::value<std::uint64_t>(&options.rows)->default_value(options.rows), "rows of the bottom-up tree")
      ("shape", po::value<std::string>(&shape)->default_value(shape), "wide, deep or mixed")
      ("call-tree", po::bool_switch(&options.callTree), "also write a call tree of the same shape")
      ("machine-code", po::bool_switch(&options.machineCode), "give loops machine code")
      ("seed", po::value<std::uint64_t>(&options.seed)->default_value(options.seed), "seed of the random choices");
  po::options_description all;
  all.add(visible).add_options()("output", po::value<std::string>(&options.outputDir));
  po::positional_options_description positional;
  positional.add("output", 1);

  po::variables_map values;
  try {
    po::store(po::command_line_parser(argc, argv).options(all).positional(positional).run(), values);
    po::notify(values);
  } catch (const po::error& e) {
    std::cerr << "nimbex-gen: " << e.what() << "\n" << visible;
    return 1;
  }
  if (values.count("help")) {
    std::cout << visible;
    return 0;
  }
  if (options.outputDir.empty()) {
    std::cerr << "nimbex-gen: no output directory\n" << visible;
    return 1;
  }
  if (!nimbex_gen::parseShape(shape, options.shape)) {
    std::cerr << "nimbex-gen: unknown shape \"" << shape << "\" (wide, deep or mixed)\n";
    return 1;
  }
  std::string error;
  if (!nimbex_gen::writeSyntheticResult(options, error)) {
    std::cerr << "nimbex-gen: " << error << "\n";
    return 1;
  }
  std::cout << "nimbex-gen: wrote " << options.rows << " rows to " << options.outputDir << "/result.json\n";
  return 0;
}
