// nimbex-cl: runs the recommendations library on a result directory.

#include <iostream>
#include <string>
#include <vector>

#include "tools/nimbex-cl/options.h"
#include "tools/nimbex-cl/run.h"

#ifndef NIMBEX_VERSION
#define NIMBEX_VERSION "0.0.0"
#endif

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  nimbex_cl::Options options;
  std::string error;
  if (!nimbex_cl::parseOptions(args, options, error)) {
    std::cerr << "nimbex-cl: " << error << "\n";
    return nimbex_cl::ExitUsage;
  }
  if (options.help) {
    std::cout << nimbex_cl::usageText();
    return nimbex_cl::ExitOk;
  }
  if (options.version) {
    std::cout << "nimbex-cl " << NIMBEX_VERSION << "\n";
    return nimbex_cl::ExitOk;
  }
  return nimbex_cl::runTool(options, std::cout, std::cerr);
}
