// nimbex-collect: its command line, the advice when a tool is missing, and a
// real run where perf is permitted.

#include "tools/nimbex-collect/collect.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

fs::path scratch(const std::string& name) {
  fs::path dir = fs::temp_directory_path() / ("nimbex-collect-" + std::to_string(::getpid())) / name;
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string runCaptured(const std::string& command, int& status) {
  std::string out;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  char buffer[4096];
  while (size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
  status = WEXITSTATUS(::pclose(pipe));
  return out;
}

TEST(Collect, CommandLine) {
  struct Row {
    std::vector<const char*> args;
    const char* error;  // "" when the line is good
    size_t commandWords;
  } rows[] = {
      {{"--project-dir", "p", "--exp-dir", "e", "--", "./app", "--counts"}, "", 2},  // after --, the program's
      {{"--project-dir=p", "--exp-dir=e", "--counts", "./app"}, "", 1},
      {{"-project-dir", "p", "--exp-dir", "e", "--call-graph", "dwarf", "--", "./app"}, "", 1},
      {{"--project-dir", "p", "--exp-dir", "e"}, "no program", 0},
      {{"--exp-dir", "e", "--", "./app"}, "no --project-dir", 1},
      {{"--project-dir", "p", "--", "./app"}, "no --exp-dir", 1},
      {{"--project-dir", "p", "--exp-dir", "e", "--frequency", "0", "--", "./app"}, "--frequency", 0},
      {{"--project-dir", "p", "--exp-dir", "e", "--call-graph", "lbr", "--", "./app"}, "fp or dwarf", 0},
      {{"--project-dir", "p", "--exp-dir", "e", "--bogus", "--", "./app"}, "unknown option --bogus", 0},
      {{"--project-dir"}, "needs a value", 0},
  };
  for (const Row& row : rows) {
    std::vector<char*> argv = {const_cast<char*>("nimbex-collect")};
    for (const char* a : row.args) argv.push_back(const_cast<char*>(a));
    nimbex_collect::Options options;
    bool help = false;
    std::string error;
    bool ok = nimbex_collect::parseOptions(static_cast<int>(argv.size()), argv.data(), options, help, error);
    SCOPED_TRACE(row.args.size() > 4 ? row.args[4] : row.args[0]);
    EXPECT_EQ(ok, *row.error == '\0') << error;
    if (!ok) EXPECT_NE(error.find(row.error), std::string::npos) << error;
    else EXPECT_EQ(options.command.size(), row.commandWords);
  }
}

TEST(Collect, AMissingToolNamesItsDebianPackage) {
  fs::path bin = scratch("bin");
  // A perf that is there, for the valgrind row.
  std::ofstream(bin / "perf") << "#!/bin/sh\nexit 1\n";
  fs::permissions(bin / "perf", fs::perms::owner_all);
  struct Row {
    std::string path;
    const char* counts;
    const char* advice;
  } rows[] = {
      {scratch("empty").string(), "", "apt-get install linux-perf"},
      {bin.string(), "--counts", "apt-get install valgrind"},
  };
  for (const Row& row : rows) {
    int status = 0;
    std::string out = runCaptured("PATH=" + row.path + " " + NIMBEX_COLLECT_PATH + " --project-dir " +
                                      scratch("p").string() + " --exp-dir e " + row.counts + " -- /bin/true",
                                  status);
    EXPECT_EQ(status, 2) << out;
    EXPECT_NE(out.find(row.advice), std::string::npos) << out;
  }
}

TEST(Collect, ARealRunEndsWithTheCommandToScanIt) {
  int status = 0;
  fs::path dir = scratch("real");
  runCaptured("perf record -e cpu-clock -o " + (dir / "probe.data").string() + " -- /bin/true", status);
  if (status != 0) GTEST_SKIP() << "perf record is not permitted here (see kernel.perf_event_paranoid)";
  if (std::system("command -v gcc >/dev/null") != 0) GTEST_SKIP() << "gcc is not installed";
  if (nimbex_collect::findTool("nimbex-import", fs::path(NIMBEX_COLLECT_PATH).parent_path().string()).empty())
    GTEST_SKIP() << "nimbex-import is not built";
  std::ofstream(dir / "app.c") << "int main(void) { volatile double s = 0;\n"
                                  "  for (long i = 0; i < 30000000; i++) s += i * 0.5;\n"
                                  "  return s < 0; }\n";
  ASSERT_EQ(std::system(("cd " + dir.string() + " && gcc -O2 -g -fno-omit-frame-pointer -o app app.c").c_str()), 0);
  // Given roofs: the probe's few seconds belong to its own test.
  std::ofstream(dir / "roofs.json") << R"({"roofs": [{"name": "DRAM Bandwidth", "value": 10000000000, "secondWord": 1},
    {"name": "Scalar Add Peak", "value": 4000000000, "secondWord": 2}]})";
  std::string out = runCaptured(std::string(NIMBEX_COLLECT_PATH) + " --project-dir " + dir.string() +
                                    " --exp-dir run --roofs " + (dir / "roofs.json").string() + " -- " +
                                    (dir / "app").string(),
                                status);
  ASSERT_EQ(status, 0) << out;
  EXPECT_TRUE(fs::exists(dir / "run" / "result.json"));
  EXPECT_NE(out.find("nimbex-cl -report issues -project-dir " + dir.string() + " --exp-dir run"), std::string::npos)
      << out;
}

}  // namespace
