// nimbex-roofs: measures this machine's roofs in a few seconds and writes
// them as the result format's roof items, for the importer to place loops on
// the roofline.
//
//   nimbex-roofs --output roofs.json

#include <fstream>
#include <iostream>
#include <string>
#include <thread>

#include <boost/program_options.hpp>

#include "platform/foundation/atomic_file.h"
#include "tools/nimbex-roofs/roof_probe.h"

namespace po = boost::program_options;

namespace {

std::string cpuModel() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("model name", 0) == 0) {
      auto colon = line.find(':');
      return colon == std::string::npos ? std::string() : line.substr(line.find_first_not_of(' ', colon + 1));
    }
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  nimbex_roofs::ProbeOptions options;
  std::string output;
  po::options_description visible("Usage: nimbex-roofs [options]\nOptions");
  visible.add_options()
      ("help,h", "show this help")
      ("output,o", po::value<std::string>(&output), "write the roofs to this file (default: standard output)")
      ("seconds", po::value<double>(&options.seconds)->default_value(options.seconds), "time for all measurements")
      ("threads", po::value<unsigned>(&options.threads)->default_value(0), "threads of the all-thread figures (0: every hardware thread)");
  po::variables_map values;
  try {
    po::store(po::command_line_parser(argc, argv).options(visible).run(), values);
    po::notify(values);
  } catch (const po::error& e) {
    std::cerr << "nimbex-roofs: " << e.what() << "\n" << visible;
    return 1;
  }
  if (values.count("help")) {
    std::cout << visible;
    return 0;
  }
  if (!(options.seconds > 0)) {
    std::cerr << "nimbex-roofs: --seconds must be positive\n";
    return 1;
  }
  nimbex_roofs::Caches caches = nimbex_roofs::readCaches("/sys/devices/system/cpu/cpu0");
  unsigned threads = options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
  std::string json = nimbex_roofs::roofsJson(nimbex_roofs::measureRoofs(options, caches), caches, threads, cpuModel());
  if (output.empty()) {
    std::cout << json;
    return 0;
  }
  std::string error;
  if (!foundation::write_file_atomically(output, json, error)) {
    std::cerr << "nimbex-roofs: " << error << "\n";
    return 1;
  }
  return 0;
}
