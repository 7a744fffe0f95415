// nimbex-collect: one command from a program to a result nimbex-cl reads.
//
//   nimbex-collect --project-dir DIR --exp-dir NAME [--counts] -- ./app ARGS

#include <climits>
#include <iostream>
#include <unistd.h>

#include "tools/nimbex-collect/collect.h"

int main(int argc, char** argv) {
  nimbex_collect::Options options;
  bool help = false;
  std::string error;
  if (!nimbex_collect::parseOptions(argc, argv, options, help, error)) {
    std::cerr << "nimbex-collect: " << error << "\n" << nimbex_collect::usageText();
    return 1;
  }
  if (help) {
    std::cout << nimbex_collect::usageText();
    return 0;
  }
  // The other tools are found beside this executable.
  char self[PATH_MAX] = {};
  ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
  std::string selfDir = n > 0 ? std::string(self, static_cast<size_t>(n)) : std::string(argv[0]);
  selfDir = selfDir.substr(0, selfDir.find_last_of('/') == std::string::npos ? 0 : selfDir.find_last_of('/'));
  return nimbex_collect::runCollect(options, selfDir.empty() ? "." : selfDir);
}
