#include "tools/nimbex-collect/collect.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

extern char** environ;

namespace nimbex_collect {
namespace fs = std::filesystem;

namespace {

bool isExecutable(const fs::path& path) {
  std::error_code ec;
  return fs::is_regular_file(path, ec) && ::access(path.c_str(), X_OK) == 0;
}

std::string onPath(const std::string& name) {
  if (name.find('/') != std::string::npos) return isExecutable(name) ? name : "";
  const char* path = std::getenv("PATH");
  std::string dirs = path ? path : "/usr/bin:/bin";
  size_t start = 0;
  while (start <= dirs.size()) {
    size_t end = dirs.find(':', start);
    if (end == std::string::npos) end = dirs.size();
    std::string dir = dirs.substr(start, end - start);
    if (dir.empty()) dir = ".";
    if (isExecutable(fs::path(dir) / name)) return (fs::path(dir) / name).string();
    start = end + 1;
  }
  return "";
}

/// Runs `args` (args[0] searched on PATH) and waits; standard output goes to
/// `stdoutFile` when given. The exit status, 128+signal, or -1 when it could
/// not start.
int run(const std::vector<std::string>& args, const std::string& stdoutFile = "") {
  std::vector<char*> argv;
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!stdoutFile.empty())
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, stdoutFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = 0;
  int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) return -1;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return -1;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

std::string quoted(const std::string& word) {
  if (!word.empty() && word.find_first_of(" \t'\"\\$`") == std::string::npos) return word;
  std::string q = "'";
  for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

std::string machineKey() {
  std::string id;
  std::ifstream("/etc/machine-id") >> id;
  if (id.empty()) {
    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    id = host;
  }
  // The same machine may run in containers with other CPU counts.
  return id + "-" + std::to_string(std::thread::hardware_concurrency());
}

std::string cacheDir() {
  if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg) return std::string(xdg) + "/nimbex";
  if (const char* home = std::getenv("HOME"); home && *home) return std::string(home) + "/.cache/nimbex";
  return "";
}

bool fail(const std::string& message) {
  std::cerr << "nimbex-collect: " << message << "\n";
  return false;
}

bool takeValue(int argc, char** argv, int& i, const std::string& name, std::string& value, std::string& error) {
  std::string arg = argv[i];
  if (arg.size() > name.size() && arg.compare(0, name.size() + 1, name + "=") == 0) {
    value = arg.substr(name.size() + 1);
    return true;
  }
  if (i + 1 >= argc) {
    error = name + " needs a value";
    return false;
  }
  value = argv[++i];
  return true;
}

}  // namespace

std::string usageText() {
  return "Usage: nimbex-collect --project-dir DIR --exp-dir NAME [options] -- PROGRAM [ARGS...]\n"
         "Profiles PROGRAM with perf (and callgrind with --counts) and imports the run into DIR/NAME.\n"
         "Options\n"
         "  --project-dir DIR     project directory (created when missing)\n"
         "  --exp-dir NAME        result directory inside it\n"
         "  --counts              also count with callgrind: trip counts, instruction mixes, roofline (about 25x slower)\n"
         "  --frequency HZ        samples per second (default 1000)\n"
         "  --call-graph fp|dwarf call stacks from frame pointers (default) or DWARF unwinding\n"
         "  --remarks DIR         directory of the compilers' optimization records (repeatable)\n"
         "  --roofs FILE          the machine's roofs, instead of the measured and cached ones\n"
         "  -h, --help            show this help\n";
}

bool parseOptions(int argc, char** argv, Options& options, bool& help, std::string& error) {
  help = false;
  int i = 1;
  for (; i < argc; ++i) {
    std::string arg = argv[i];
    std::string value;
    auto is = [&](const char* name) { return arg == name || arg.rfind(std::string(name) + "=", 0) == 0; };
    if (arg == "--") {
      ++i;
      break;
    }
    if (arg == "-h" || arg == "--help") {
      help = true;
      return true;
    }
    if (arg == "--counts") {
      options.counts = true;
    } else if (is("--project-dir") || is("-project-dir")) {
      if (!takeValue(argc, argv, i, arg.rfind("--", 0) == 0 ? "--project-dir" : "-project-dir", options.projectDir, error))
        return false;
    } else if (is("--exp-dir")) {
      if (!takeValue(argc, argv, i, "--exp-dir", options.expDir, error)) return false;
    } else if (is("--frequency")) {
      if (!takeValue(argc, argv, i, "--frequency", value, error)) return false;
      char* end = nullptr;
      unsigned long hz = std::strtoul(value.c_str(), &end, 10);
      if (value.empty() || *end || hz == 0 || hz > 100000) {
        error = "--frequency must be a number of samples per second, 1 to 100000";
        return false;
      }
      options.frequency = static_cast<unsigned>(hz);
    } else if (is("--call-graph")) {
      if (!takeValue(argc, argv, i, "--call-graph", options.callGraph, error)) return false;
      if (options.callGraph != "fp" && options.callGraph != "dwarf") {
        error = "--call-graph is fp or dwarf, not \"" + options.callGraph + "\"";
        return false;
      }
    } else if (is("--remarks")) {
      if (!takeValue(argc, argv, i, "--remarks", value, error)) return false;
      options.remarkDirs.push_back(value);
    } else if (is("--roofs")) {
      if (!takeValue(argc, argv, i, "--roofs", options.roofs, error)) return false;
    } else if (!arg.empty() && arg[0] == '-') {
      error = "unknown option " + arg;
      return false;
    } else {
      break;  // the program, without "--"
    }
  }
  for (; i < argc; ++i) options.command.push_back(argv[i]);
  if (options.command.empty()) error = "no program to profile: give it after --";
  else if (options.projectDir.empty()) error = "no --project-dir";
  else if (options.expDir.empty()) error = "no --exp-dir";
  return error.empty();
}

std::string findTool(const std::string& name, const std::string& selfDir) {
  for (const fs::path& candidate : {fs::path(selfDir) / name, fs::path(selfDir) / ".." / name / name})
    if (isExecutable(candidate)) return fs::weakly_canonical(candidate).string();
  return onPath(name);
}

std::string packageOf(const std::string& tool) {
  if (tool == "perf") return "linux-perf";
  return tool;  // valgrind
}

int runCollect(const Options& options, const std::string& selfDir) {
  auto missing = [](const std::string& tool, const std::string& why) {
    fail(tool + " is not installed; " + why + " needs it. On Debian: sudo apt-get install " + packageOf(tool));
    return 2;
  };
  if (onPath("perf").empty()) return missing("perf", "sampling the program");
  if (options.counts && onPath("valgrind").empty()) return missing("valgrind", "--counts");
  std::string importer = findTool("nimbex-import", selfDir);
  if (importer.empty()) return fail("cannot find nimbex-import beside nimbex-collect or on PATH"), 2;
  std::string binary = onPath(options.command[0]);
  if (binary.empty()) return fail(options.command[0] + ": no such program"), 2;

  fs::path result = fs::path(options.projectDir) / options.expDir;
  fs::path work = result / "collect";
  std::error_code ec;
  fs::create_directories(work, ec);
  if (ec) return fail(work.string() + ": cannot create: " + ec.message()), 2;

  // 1. Time and call stacks. cpu-clock is a software event: it needs no
  // hardware counters, which virtual machines often lack.
  fs::path perfData = work / "perf.data";
  std::vector<std::string> record = {"perf", "record", "-e", "cpu-clock", "-F", std::to_string(options.frequency),
                                     "-o", perfData.string()};
  if (options.callGraph == "dwarf") record.insert(record.end(), {"--call-graph", "dwarf,16384"});
  else record.push_back("-g");
  record.push_back("--");
  record.insert(record.end(), options.command.begin(), options.command.end());
  std::cerr << "nimbex-collect: sampling " << quoted(options.command[0]) << "\n";
  int status = run(record);
  if (fs::file_size(perfData, ec) == 0 || ec) {
    fail("perf record failed (exit " + std::to_string(status) +
         "); if it was refused, allow it with: sudo sysctl kernel.perf_event_paranoid=2");
    return 2;
  }
  if (status != 0) std::cerr << "nimbex-collect: warning: the program ended with exit code " << status << "\n";

  fs::path perfText = work / "perf.txt", perfTemp = work / ".perf.txt.tmp";
  status = run({"perf", "script", "-i", perfData.string(), "--no-inline", "--show-mmap-events", "-F",
                "comm,tid,time,period,ip,sym,dso"},
               perfTemp.string());
  if (status != 0) {
    fs::remove(perfTemp, ec);
    return fail("perf script failed (exit " + std::to_string(status) + ")"), 2;
  }
  fs::rename(perfTemp, perfText, ec);
  if (ec) return fail(perfText.string() + ": cannot write: " + ec.message()), 2;

  // 2. Exact counts, when asked: a second, much slower run.
  fs::path counts = work / "callgrind.out";
  if (options.counts) {
    fs::path temp = work / ".callgrind.out.tmp";
    std::vector<std::string> grind = {"valgrind", "--tool=callgrind", "--dump-instr=yes", "--collect-jumps=yes",
                                      "--callgrind-out-file=" + temp.string(), "--"};
    grind.insert(grind.end(), options.command.begin(), options.command.end());
    std::cerr << "nimbex-collect: counting under callgrind (slow)\n";
    status = run(grind);
    if (fs::file_size(temp, ec) == 0 || ec) {
      fs::remove(temp, ec);
      return fail("the callgrind run failed (exit " + std::to_string(status) + ")"), 2;
    }
    fs::rename(temp, counts, ec);
    if (ec) return fail(counts.string() + ": cannot write: " + ec.message()), 2;
  }

  // 3. Roofs: measured once per machine and kept.
  std::string roofs = options.roofs;
  if (roofs.empty()) {
    std::string dir = cacheDir();
    std::string probe = findTool("nimbex-roofs", selfDir);
    if (!dir.empty()) {
      fs::create_directories(dir, ec);
      roofs = dir + "/roofs-" + machineKey() + ".json";
    }
    if (!roofs.empty() && !fs::exists(roofs, ec)) {
      if (probe.empty() || (std::cerr << "nimbex-collect: measuring this machine's roofs (once)\n",
                            run({probe, "--output", roofs}) != 0)) {
        std::cerr << "nimbex-collect: warning: no roofs measured; loops will have no roofline zone\n";
        roofs.clear();
      }
    }
  }

  // 4. Import.
  std::vector<std::string> import = {importer, "--binary", binary, "--perf", perfText.string(), "--out", result.string()};
  if (options.counts) import.insert(import.end(), {"--callgrind", counts.string()});
  if (!roofs.empty()) import.insert(import.end(), {"--roofs", roofs});
  for (const auto& dir : options.remarkDirs) import.insert(import.end(), {"--remarks", dir});
  status = run(import);
  if (status != 0) return fail("the import failed"), 2;

  std::cout << "nimbex-collect: result written to " << result.string() << "\n"
            << "Next: nimbex-cl -report issues -project-dir " << quoted(options.projectDir) << " --exp-dir "
            << quoted(options.expDir) << "\n";
  return 0;
}

}  // namespace nimbex_collect
