// A stand-in for the command-line tool, built as "nimbex-cl" beside the
// issues task's test so that the task finds it where it looks in a product.
//
// It takes its orders from the environment the test leaves it:
//   NIMBEX_FAKE_LOG     file to write: one line per argument, then "--",
//                       then the sorted names of the files in
//                       <project-dir>/<exp-dir> as the tool found them
//   NIMBEX_FAKE_MODE    "copy": copy NIMBEX_FAKE_REPORT to the report output;
//                       "hang": write its pid to NIMBEX_FAKE_STARTED, then
//                       wait to be killed; anything else: write no report
//   NIMBEX_FAKE_REPORT  the prepared report to copy
//   NIMBEX_FAKE_STARTED file that says the tool is running, and as which pid

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string env(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string argumentAfter(const std::vector<std::string>& args, const std::string& name) {
  auto it = std::find(args.begin(), args.end(), name);
  return it != args.end() && it + 1 != args.end() ? *(it + 1) : std::string();
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);

  if (const std::string log = env("NIMBEX_FAKE_LOG"); !log.empty()) {
    std::ofstream out(log);
    for (const auto& arg : args) out << arg << "\n";
    out << "--\n";
    std::vector<std::string> names;
    std::error_code ec;
    const fs::path experiment = fs::path(argumentAfter(args, "-project-dir")) / argumentAfter(args, "--exp-dir");
    for (fs::directory_iterator it(experiment, ec), end; !ec && it != end; it.increment(ec)) {
      names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    for (const auto& name : names) out << name << "\n";
  }

  const std::string mode = env("NIMBEX_FAKE_MODE");
  if (mode == "copy") {
    std::error_code ec;
    fs::copy_file(env("NIMBEX_FAKE_REPORT"), argumentAfter(args, "--report-output"),
                  fs::copy_options::overwrite_existing, ec);
    return ec ? 1 : 0;
  }
  if (mode == "hang") {
    // Written aside and renamed, so that whoever sees the file sees the pid.
    const std::string started = env("NIMBEX_FAKE_STARTED");
    std::ofstream(started + ".tmp") << ::getpid() << "\n";
    std::error_code ec;
    fs::rename(started + ".tmp", started, ec);
    // Bounded, so that a broken test cannot leave the process behind for long.
    for (int i = 0; i < 600; ++i) ::usleep(100 * 1000);
    return 0;
  }
  return 0;
}
