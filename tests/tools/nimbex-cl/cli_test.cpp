// nimbex-cl as users run it: the real binary on result directories.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>


extern char** environ;

namespace {

namespace fs = boost::filesystem;

struct ToolRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

std::string slurp(const fs::path& path) {
  std::ifstream file(path.string(), std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// Replaces the first `from` in `file` by `to`; the case fails when absent.
void edit(const fs::path& file, const std::string& from, const std::string& to) {
  std::string text = slurp(file);
  const std::size_t at = text.find(from);
  ASSERT_NE(at, std::string::npos) << from;
  text.replace(at, from.size(), to);
  std::ofstream(file.string(), std::ios::trunc | std::ios::binary) << text;
}

/// Ways to break a result directory.
using Break = std::function<void(const fs::path&)>;
Break replaceIn(std::string from, std::string to) {
  return [=](const fs::path& d) { edit(d / "result.json", from, to); };
}
Break writeTo(std::string file, std::string text) {
  return [=](const fs::path& d) { std::ofstream((d / file).string(), std::ios::trunc | std::ios::binary) << text; };
}
Break inPlaceOfResult(void (*make)(const char* file)) {
  return [=](const fs::path& d) {
    fs::remove(d / "result.json");
    make((d / "result.json").c_str());
  };
}

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / fs::unique_path("nimbex-cli-%%%%-%%%%");
    fs::create_directories(dir_);
  }
  void TearDown() override {
    boost::system::error_code ec;
    fs::remove_all(dir_, ec);
  }

  // Copies the bundled example into the scratch project as `name`.
  fs::path copyExample(const std::string& name) {
    const char* source = std::getenv("NIMBEX_SOURCE_DIR");
    EXPECT_NE(source, nullptr);
    fs::path target = dir_ / name;
    fs::create_directories(target);
    fs::copy_file(fs::path(source) / "examples/basic/result.json", target / "result.json");
    return target;
  }

  ToolRun run(const std::string& args, const std::string& environment = "") {
    ToolRun r;
    const fs::path out = dir_ / "stdout.txt";
    const fs::path err = dir_ / "stderr.txt";
    const std::string command = environment + " '" + NIMBEX_CL_PATH + "' " + args + " >'" + out.string() + "' 2>'" +
                                err.string() + "'";
    const int status = std::system(command.c_str());
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = slurp(out);
    r.err = slurp(err);
    return r;
  }

  std::string project() const { return "'" + dir_.string() + "'"; }
  /// The issues report of the result `exp`, with `more` options.
  std::string issues(const std::string& more = "", const std::string& exp = "basic") const {
    return "-report issues -project-dir " + project() + " --exp-dir " + exp + (more.empty() ? "" : " " + more);
  }

  fs::path dir_;
};

// Broken results are in BrokenInputIsAnsweredAndLeftAsItWas.
TEST_F(CliTest, ExitCodesAndOneLineErrors) {
  struct Case {
    std::string args;
    int exitCode;
    std::string errFragment;
  };
  const Case cases[] = {
      {"--help", 0, ""},
      {"-h", 0, ""},
      {"--version", 0, ""},
      {"-report issues", 2, "missing -project-dir"},
      {issues("-format=pdf"), 2, "-format=text, xml, html or sarif"},
      {issues("", "nowhere"), 3, "no such result directory"},
  };
  for (const Case& c : cases) {
    ToolRun r = run(c.args);
    EXPECT_EQ(r.exitCode, c.exitCode) << c.args << "\n" << r.err;
    if (!c.errFragment.empty()) {
      EXPECT_NE(r.err.find(c.errFragment), std::string::npos) << c.args << "\nstderr: " << r.err;
      EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    }
  }
}

TEST_F(CliTest, TextReportShowsTheConversionsIssueWithRealTexts) {
  copyExample("basic");
  ToolRun r = run(issues());
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("Issue: Data type conversions"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Recommendation [confidence: low]"), std::string::npos) << r.out;
  // A key in the output means the catalogue was not found.
  EXPECT_EQ(r.out.find("_title"), std::string::npos) << r.out;
  EXPECT_EQ(r.err.find("warning"), std::string::npos) << r.err;
  // Each trait once per loop, never an empty title; a summary closes it.
  std::istringstream loops(r.out);
  std::set<std::string> traits;
  for (std::string line; std::getline(loops, line);) {
    if (!line.empty() && std::isdigit(static_cast<unsigned char>(line[0]))) traits.clear();  // "2. [loop in ..."
    if (line.rfind("   Trait:", 0) != 0) continue;
    EXPECT_NE(line.find_first_not_of(' ', 10), std::string::npos) << "an empty trait title";
    EXPECT_TRUE(traits.insert(line).second) << "said twice: " << line;
  }
  const std::size_t summary = r.out.find("\nSummary of ");
  ASSERT_NE(summary, std::string::npos) << r.out;
  EXPECT_NE(r.out.find("no roofline position", summary), std::string::npos);
  EXPECT_NE(r.out.find("Data type conversions in the loop", summary), std::string::npos);
}

TEST_F(CliTest, MissingCatalogueWarnsOnceAndFallsBackToKeys) {
  copyExample("basic");
  fs::create_directories(dir_ / "empty-messages");
  ASSERT_EQ(run(issues()).exitCode, 0);
  ToolRun r = run(issues("--rescan"), "NIMBEX_MESSAGES_DIR='" + (dir_ / "empty-messages").string() + "'");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.err.find("warning"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("warning"), r.err.rfind("warning")) << "warned more than once: " << r.err;
  EXPECT_NE(r.out.find("type_conversions_issue_title"), std::string::npos);
}

TEST_F(CliTest, SecondRunReadsTheReportAndPrintsTheSame) {
  copyExample("basic");
  ToolRun first = run(issues("--verbose"));
  ToolRun second = run(issues("--verbose"));
  ToolRun forced = run(issues("--verbose --rescan"));
  ASSERT_EQ(first.exitCode, 0) << first.err;
  ASSERT_EQ(second.exitCode, 0) << second.err;
  ASSERT_EQ(forced.exitCode, 0) << forced.err;
  EXPECT_NE(first.err.find("findings scanned"), std::string::npos) << first.err;
  EXPECT_NE(second.err.find("findings read from issues.xml"), std::string::npos) << second.err;
  EXPECT_NE(forced.err.find("findings scanned"), std::string::npos) << forced.err;
  EXPECT_EQ(first.out, second.out);
  EXPECT_EQ(first.out, forced.out);
  EXPECT_TRUE(fs::exists(dir_ / "basic" / "issues.xml"));
  EXPECT_TRUE(fs::exists(dir_ / "basic" / "summary.json"));
}

// Ctrl-C and SIGTERM end a run cleanly: the shell's exit code of the
// signal, a message that says what was written, no report and no temporary.
TEST_F(CliTest, InterruptLeavesNoReportAndExitsWithTheSignalsCode) {
  // Big enough that the signal lands while the tool is still busy.
  const fs::path result = dir_ / "big";
  const std::string generator = std::string(NIMBEX_GEN_PATH) + " --rows 100000 --shape deep '" + result.string() + "' >/dev/null";
  ASSERT_EQ(std::system(generator.c_str()), 0);

  for (auto [signal, code] : {std::pair{SIGINT, 130}, std::pair{SIGTERM, 143}}) {
    SCOPED_TRACE(signal);
    fs::remove(result / "session.json");
    const fs::path errFile = dir_ / "interrupt-stderr.txt";
    const std::string project = dir_.string();
    std::vector<std::string> args = {NIMBEX_CL_PATH, "-report", "issues", "-project-dir", project, "--exp-dir", "big"};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    ASSERT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    // The session values are seeded once the result has loaded and before
    // the scan starts: the sign that the tool is at work.
    for (int i = 0; i < 2000 && !fs::exists(result / "session.json"); ++i) ::usleep(5 * 1000);
    ::kill(pid, signal);
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), code);
    const std::string err = slurp(errFile);
    EXPECT_NE(err.find("nimbex-cl: interrupted; "), std::string::npos) << err;
    EXPECT_FALSE(fs::exists(result / "issues.xml"));
    for (fs::directory_iterator it(result), end; it != end; ++it) {
      EXPECT_EQ(it->path().filename().string().find(".tmp"), std::string::npos) << it->path();
    }
  }
}

// A scan that fails on a row must not look like one that found nothing:
// exit 3, one line naming the row, and nothing written that a later run
// would trust.
TEST_F(CliTest, ScanThatFailsOnARowWritesNothingAndSaysWhere) {
  const fs::path result = copyExample("basic");
  // A source file name that ends in its dot is malformed; the fill refuses it.
  edit(result / "result.json", "\"SourceFile\": \"/home/ana/heat/src/relax.cpp\"",
       "\"SourceFile\": \"/home/ana/heat/src/relax.\"");

  for (const char* format : {"-format=text", "-format=xml"}) {
    ToolRun r = run(issues(format));
    EXPECT_EQ(r.exitCode, 3) << r.err;
    EXPECT_NE(r.err.find("the scan failed at row 1 (relax(Grid&, Grid const&)) in /home/ana/heat/src/relax.:"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "one line: " << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
    EXPECT_FALSE(fs::exists(result / "issues.xml"));
    EXPECT_FALSE(fs::exists(result / "summary.json"));
    EXPECT_EQ(slurp(result / "session.json").find("\"issues_cache_actual\": true"), std::string::npos);
  }
}

// A session value of the wrong kind must not quietly change the findings:
// it is named in one warning and the result's own value stands.
TEST_F(CliTest, BadSessionValuesAreWarnedAboutAndChangeNothing) {
  const fs::path result = copyExample("basic");
  ToolRun clean = run(issues("--rescan"));
  ASSERT_EQ(clean.exitCode, 0) << clean.err;

  std::ofstream((result / "session.json").string(), std::ios::trunc) << R"({"totalElapsedTime": "soon"})";
  ToolRun wrongKind = run(issues("--rescan"));
  EXPECT_EQ(wrongKind.exitCode, 0) << wrongKind.err;
  EXPECT_EQ(wrongKind.out, clean.out);
  std::istringstream lines(wrongKind.err);
  int warnings = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("warning") == std::string::npos) continue;
    ++warnings;
    EXPECT_NE(line.find("\"totalElapsedTime\""), std::string::npos) << line;
  }
  EXPECT_EQ(warnings, 1) << wrongKind.err;
}

struct FileState {
  std::string content;
  unsigned mode;
  bool operator==(const FileState&) const = default;
};

std::map<std::string, FileState> filesOf(const fs::path& dir) {
  std::map<std::string, FileState> files;
  for (fs::directory_iterator it(dir), end; it != end; ++it) {
    struct stat st;
    ::stat(it->path().c_str(), &st);
    files[it->path().filename().string()] = {S_ISREG(st.st_mode) && (st.st_mode & 0400) ? slurp(it->path()) : "",
                                             static_cast<unsigned>(st.st_mode)};
  }
  return files;
}

// Broken input of every kind gets its exit code and one line that names the
// file and the place; a refused result is left byte for byte as it was,
// modes included, and a file of ours that can't be read is never replaced.
TEST_F(CliTest, BrokenInputIsAnsweredAndLeftAsItWas) {
  struct Case {
    const char* name;
    Break breakIt;
    int exitCode;
    std::string errFragment;
    const char* kept = nullptr;  // the file that must stay as it was; null: all of them
  };
  const Case cases[] = {
      {"truncated", [](const fs::path& d) { fs::resize_file(d / "result.json", 700); }, 3,
       "result.json: not valid JSON at line"},
      {"wrong type", replaceIn("\"SelfTime\": 0.01", "\"SelfTime\": \"fast\""), 3,
       "/fields/SelfTime: expected a number, got a string"},
      {"null tree", replaceIn("\"bottomUp\": {", "\"bottomUp\": null, \"x-was\": {"), 3,
       "result.json: /bottomUp: expected an object, got null"},
      {"number out of range", replaceIn("\"InnerLoopCount\": { \"u64\": 1 }", "\"InnerLoopCount\": { \"u64\": -1 }"), 3,
       "/fields/InnerLoopCount"},
      {"dangling child", replaceIn("\"children\": [2]", "\"children\": [987654]"), 3, "result.json: /bottomUp/rows/0"},
      {"duplicate id", replaceIn("{ \"id\": 2,", "{ \"id\": 1,"), 3, "result.json: /bottomUp/rows/1"},
      {"invalid UTF-8", replaceIn("relax.cpp", "relax\xC3\x28.cpp"), 3, "result.json: not valid JSON"},
      {"control characters in a key", replaceIn("\"frozen\":", "\"fro\\u001b[2Jzen\": 0, \"frozen\":"), 3,
       "/fro\\u001b[2Jzen: unknown key"},
      {"empty file", writeTo("result.json", ""), 3, "result.json: not valid JSON at line 1, column 1"},
      {"binary file", writeTo("result.json", std::string("\x7f" "ELF\x02\x01\x01\0\0", 9)), 3,
       "result.json: not valid JSON at line 1, column 1"},
      {"directory in place of the file", inPlaceOfResult([](const char* f) { fs::create_directory(f); }), 3,
       "result.json: is a directory"},
      {"FIFO in place of the file", inPlaceOfResult([](const char* f) { ::mkfifo(f, 0600); }), 3,
       "result.json: is not a regular file"},
      {"a report that is not ours",
       [](const fs::path& d) {
         writeTo("issues.xml", "my notes, not a report\n")(d);
         writeTo("session.json", R"({"issues_cache_actual": true})")(d);
       },
       0, "issues.xml: is not a findings report; left as it is", "issues.xml"},
      {"a session file that does not parse", writeTo("session.json", "{\"hostKey\": [1, "), 0, "session.json: ",
       "session.json"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(dir_ / "basic");
    const fs::path result = copyExample("basic");
    ::chmod((result / "result.json").c_str(), 0600);
    c.breakIt(result);
    const auto before = filesOf(result);
    ToolRun r = run(issues());
    EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
    EXPECT_NE(r.err.find(c.errFragment), std::string::npos) << r.err;
    if (c.exitCode != 0) {
      EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    EXPECT_EQ(r.err.find('\x1b'), std::string::npos) << "raw control character in: " << r.err;
    const auto after = filesOf(result);
    if (!c.kept) {
      EXPECT_TRUE(after == before) << "the result changed";
    } else {
      EXPECT_TRUE(after.at(c.kept) == before.at(c.kept)) << c.kept << " changed";
      EXPECT_TRUE(after.at("result.json") == before.at("result.json"));
    }
  }
}

ino_t inodeOf(const fs::path& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

// A report is written once: a run whose findings come from the stored report
// leaves it alone, and asking for it elsewhere copies it.
TEST_F(CliTest, TheReportIsWrittenOnce) {
  const fs::path result = copyExample("basic");
  ASSERT_EQ(run(issues("-format=xml")).exitCode, 0);
  const ino_t first = inodeOf(result / "issues.xml");
  ASSERT_NE(first, 0u);

  const fs::path copy = dir_ / "copy.xml";
  ToolRun cached = run(issues("-format=xml --report-output '" + copy.string() + "'"));
  ASSERT_EQ(cached.exitCode, 0) << cached.err;
  EXPECT_EQ(inodeOf(result / "issues.xml"), first) << "the stored report was written again";
  EXPECT_EQ(slurp(copy), slurp(result / "issues.xml"));
}

}  // namespace
