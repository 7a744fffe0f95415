// The example program built with gcc and with clang at test time, imported
// with perf and callgrind texts recorded from runs of the same builds.

#include "platform/importer/program_import.h"

#include <gtest/gtest.h>
#include <simdjson.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/host_data/result_loader.h"

namespace fs = std::filesystem;
using nimbex::importer::ImportInputs;
using nimbex::importer::ImportSummary;

namespace {

std::string sourceRoot() { return std::getenv("NIMBEX_SOURCE_DIR"); }
std::string data(const std::string& name) { return sourceRoot() + "/tests/platform/importer/data/" + name; }

const fs::path kScratch = fs::temp_directory_path() / ("nimbex-import-test-" + std::to_string(::getpid()));
struct RemoveScratch {
  ~RemoveScratch() {
    std::error_code ignored;
    fs::remove_all(kScratch, ignored);
  }
} removeScratch;
const fs::path& scratch() { return kScratch; }

// Builds examples/kernels with one compiler; "" when the compiler is missing.
std::string build(const std::string& compiler) {
  static std::map<std::string, std::string> built;
  if (built.count(compiler)) return built[compiler];
  const fs::path out = scratch() / compiler;
  const std::string command = sourceRoot() + "/examples/kernels/build.sh " + compiler + " " + out.string() + " >/dev/null 2>&1";
  return built[compiler] = std::system(command.c_str()) == 0 ? (out / "kernels").string() : "";
}

struct Row {
  std::uint64_t type = 0;
  std::map<std::string, std::string> text;
  std::map<std::string, double> number;
  std::vector<std::uint64_t> children;
  std::string code;
  std::uint64_t codeAddress = 0, trips = 0;
};

// The rows of one tree by id, in file order.
struct Tree {
  std::vector<std::uint64_t> order;
  std::map<std::uint64_t, Row> rows;
};

Tree readTree(simdjson::dom::element document, const char* name) {
  Tree tree;
  for (simdjson::dom::element value : document[name]["rows"].get_array()) {
    Row row;
    std::uint64_t id = value["id"].get_uint64();
    row.type = value["type"].get_uint64();
    simdjson::dom::array children;
    if (!value["children"].get_array().get(children))
      for (simdjson::dom::element child : children) row.children.push_back(child.get_uint64());
    for (auto field : value["fields"].get_object()) {
      std::string_view s;
      double d;
      std::int64_t i;
      simdjson::dom::object typed;
      if (!field.value.get_string().get(s)) row.text[std::string(field.key)] = std::string(s);
      else if (!field.value.get_int64().get(i)) row.number[std::string(field.key)] = static_cast<double>(i);
      else if (!field.value.get_double().get(d)) row.number[std::string(field.key)] = d;
      else if (!field.value.get_bool().error()) row.number[std::string(field.key)] = bool(field.value.get_bool()) ? 1 : 0;
      else if (!field.value.get_object().get(typed))
        for (auto kind : typed) row.number[std::string(field.key)] = static_cast<double>(kind.value.get_int64().value());
    }
    std::string_view bytes, address;
    if (!value["machineCode"]["bytes"].get_string().get(bytes)) {
      row.code = std::string(bytes);
      address = value["machineCode"]["address"].get_string();
      row.codeAddress = std::stoull(std::string(address), nullptr, 16);
    }
    std::uint64_t trips = 0;
    if (!value["sourceTripCounts"]["TripCountAverage"]["value"].get_uint64().get(trips)) row.trips = trips;
    tree.order.push_back(id);
    tree.rows[id] = std::move(row);
  }
  return tree;
}

// One source loop as the compilers built it.
struct LoopCase {
  int line;
  const char* function;
  bool vectorized;
  const char* lengths;           // "" when none
  std::vector<std::uint64_t> parts;  // part type bits, in order; empty when not split
  std::uint64_t trips;           // machine trips of the body, from the callgrind run
  bool reported = true;          // the compiler wrote a record on it (clang: none on outer loops)
};

struct Build {
  const char* compiler;
  const char* compilerName;
  std::vector<LoopCase> loops;
};

// What each compiler reported and built for examples/kernels/src/kernels.c.
// clang interleaves and unrolls its vector bodies and leaves a scalar loop
// for the rest; gcc vectorizes its epilogue instead ("8;4"). Loops that stay
// scalar are one row even when unrolling left a second loop for the rest.
const Build kBuilds[] = {
    {"gcc",
     "GNU C17",
     {{8, "triad", true, "8;4", {}, 8192},
      {14, "with_call", false, "", {}, 65536},
      {20, "indirect", true, "8;4", {}, 8192},
      {26, "recurrence", false, "", {}, 65535},
      {32, "normalize", false, "", {}, 65536},
      {39, "matvec", false, "", {}, 256},
      {41, "matvec", true, "4;2", {}, 256}}},
    {"clang",
     "clang",
     {{8, "triad", true, "8", {128, 64}, 1024},
      {14, "with_call", false, "", {}, 65536},
      {20, "indirect", true, "8", {128, 64}, 8192},
      {26, "recurrence", false, "", {}, 8191},
      {32, "normalize", false, "", {}, 16384},
      {39, "matvec", false, "", {}, 256, false},
      {41, "matvec", false, "", {}, 128}}},
};

class ImportKernels : public testing::TestWithParam<Build> {
 protected:
  void SetUp() override {
    const Build& b = GetParam();
    binary_ = build(b.compiler);
    if (binary_.empty()) GTEST_SKIP() << b.compiler << " could not build examples/kernels (is it installed?)";
    inputs_.binary = binary_;
    inputs_.perfScript = data(std::string("kernels-") + b.compiler + ".perf.txt");
    inputs_.callgrind = data(std::string("kernels-") + b.compiler + ".callgrind");
    inputs_.remarkDirs = {fs::path(binary_).parent_path().string()};
    inputs_.outDir = (scratch() / (std::string("result-") + b.compiler)).string();
    std::string error;
    if (!nimbex::importer::importProgram(inputs_, summary_, error)) {
      // The samples were recorded from this compiler's build; another
      // compiler version lays the code out otherwise.
      if (error.find("another build") != std::string::npos) GTEST_SKIP() << "the installed " << b.compiler << " builds other code: " << error;
      FAIL() << error;
    }
    ASSERT_TRUE(parser_.load(inputs_.outDir + "/result.json").get(document_) == simdjson::SUCCESS);
    bottomUp_ = readTree(document_, "bottomUp");
    callTree_ = readTree(document_, "callTree");
  }

  // The source loop rows of kernels.c by line.
  std::map<int, std::uint64_t> loopsByLine() const {
    std::map<int, std::uint64_t> out;
    for (const auto& [id, row] : bottomUp_.rows)
      if ((row.type & 4) && row.number.count("3") && row.text.count("SourceFile") &&
          row.text.at("SourceFile").find("kernels.c") != std::string::npos)
        out[static_cast<int>(row.number.at("3"))] = id;
    return out;
  }

  std::string binary_;
  ImportInputs inputs_;
  ImportSummary summary_;
  simdjson::dom::parser parser_;
  simdjson::dom::element document_;
  Tree bottomUp_, callTree_;
};

TEST_P(ImportKernels, EverySourceLoopWithWhatTheCompilerSaid) {
  const Build& b = GetParam();
  std::map<int, std::uint64_t> byLine = loopsByLine();
  for (const LoopCase& expected : b.loops) {
    SCOPED_TRACE(expected.line);
    ASSERT_TRUE(byLine.count(expected.line));
    const Row& row = bottomUp_.rows.at(byLine[expected.line]);
    EXPECT_EQ(row.text.at("FunctionName"), expected.function);
    EXPECT_EQ(row.text.at("CompilerName"), b.compilerName);
    EXPECT_EQ(row.number.count("IsVectorized") ? row.number.at("IsVectorized") : -1,
              expected.reported ? expected.vectorized : -1);
    EXPECT_EQ(row.text.count("VectorLengths") ? row.text.at("VectorLengths") : "", expected.lengths);
    EXPECT_EQ(bool(row.type & 256), expected.vectorized);
    EXPECT_EQ(row.text.count("VectorizationMessage"), expected.reported ? 1u : 0u);
    EXPECT_EQ(row.trips, expected.trips);
    std::vector<std::uint64_t> parts;
    for (std::uint64_t child : row.children)
      if (bottomUp_.rows.at(child).number.at("FuncInstIdx") == row.number.at("FuncInstIdx"))
        parts.push_back(bottomUp_.rows.at(child).type & (32 | 64 | 128));
    EXPECT_EQ(parts, expected.parts);
    EXPECT_EQ(bool(row.type & 8), !expected.parts.empty());
  }
  // The nest: the dot product inside the row loop, the only loop not innermost.
  const Row& outer = bottomUp_.rows.at(byLine[39]);
  EXPECT_FALSE(outer.type & 16);
  EXPECT_EQ(outer.number.at("InnerLoopCount"), 1);
  EXPECT_TRUE(bottomUp_.rows.at(byLine[41]).type & 16);
  // Left scalar around a vectorized inner loop: the outer-loop number, where
  // the compiler wrote a record on the outer loop at all.
  const bool outerNumbered = b.loops[5].reported && b.loops[6].vectorized;
  EXPECT_EQ(outer.number.count("VectorizationDiagnosticId") ? outer.number.at("VectorizationDiagnosticId") : -1,
            outerNumbered ? 15542 : -1);
}

TEST_P(ImportKernels, TimesLandInTheLoopsThatTookThem) {
  // Every sample perf put in a kernel's function is a sample of its loop: the
  // kernels do nothing else. Sum those from the text itself.
  std::map<std::string, double> byFunction;
  std::ifstream in(inputs_.perfScript);
  std::string line;
  bool leaf = false;
  double period = 0;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    if (line[0] != '\t') {
      leaf = line.find("PERF_RECORD") == std::string::npos;
      period = leaf ? std::stod(line.substr(line.rfind(':') + 1)) * 1e-9 : 0;
      continue;
    }
    // Time in the kernel counts for the user code it interrupted.
    if (!leaf || line.find("([kernel") != std::string::npos) continue;
    leaf = false;
    for (const char* f : {"normalize", "matvec", "recurrence", "triad", "indirect"})
      if (line.find(std::string(" ") + f + " (") != std::string::npos) byFunction[f] += period;
  }
  std::map<int, std::uint64_t> byLine = loopsByLine();
  const std::map<const char*, int> lines = {{"normalize", 32}, {"matvec", 41}, {"recurrence", 26}, {"triad", 8}, {"indirect", 20}};
  for (const auto& [function, lineNumber] : lines) {
    SCOPED_TRACE(function);
    ASSERT_GT(byFunction[function], 0.0);
    const Row& loop = bottomUp_.rows.at(byLine.at(lineNumber));
    // A sample on the call's set-up code counts for the function itself.
    EXPECT_GE(loop.number.at("SelfTime"), 0.8 * byFunction[function]);
    EXPECT_LE(loop.number.at("SelfTime"), byFunction[function] + 1e-9);
    EXPECT_GE(loop.number.at("TotalTime") + 1e-9, loop.number.at("SelfTime"));
  }
  // The loop that calls spends part of its time in the callee.
  const Row& caller = bottomUp_.rows.at(byLine.at(14));
  EXPECT_GT(caller.number.at("TotalTime"), caller.number.at("SelfTime"));
}

TEST_P(ImportKernels, CallTreeJoinsEveryLoopAndNamesCallees) {
  std::map<double, std::vector<const Row*>> calls;
  for (const auto& [id, row] : callTree_.rows) calls[row.number.at("FuncInstIdx")].push_back(&row);
  for (const auto& [id, row] : bottomUp_.rows) {
    if (!(row.type & 4)) continue;
    EXPECT_TRUE(calls.count(row.number.at("FuncInstIdx"))) << "bottom-up row " << id << " has no call-tree row";
  }
  // Callees of a loop, by name and module: the user function and sqrt of the
  // math library (called for the arguments errno must see).
  auto calleesOf = [&](int line) {
    std::set<std::string> out;
    for (const Row* row : calls[bottomUp_.rows.at(loopsByLine().at(line)).number.at("FuncInstIdx")])
      for (std::uint64_t child : row->children) {
        const Row& callee = callTree_.rows.at(child);
        if (!(callee.type & 4)) out.insert(callee.text.at("FunctionName") + "@" + callee.text.at("ModuleName"));
      }
    return out;
  };
  EXPECT_TRUE(calleesOf(14).count("transform@kernels"));
  EXPECT_TRUE(calleesOf(32).count("sqrt@libm.so.6"));
  for (const auto& [id, row] : callTree_.rows)
    if (row.text.count("FunctionName")) {
      EXPECT_EQ(row.number.at("IsSystemFunction"), row.text.at("ModuleName") == "kernels" ? 0 : 1);
    }
}

TEST_P(ImportKernels, MachineCodeDecodesToTheLoop) {
  assembler_analysis::AssemblerGenerator generator;
  std::size_t loops = 0;
  for (const auto& [id, row] : bottomUp_.rows) {
    if (row.code.empty()) continue;
    ++loops;
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < row.code.size(); i += 3) bytes.push_back(static_cast<std::uint8_t>(std::stoul(row.code.substr(i, 2), nullptr, 16)));
    assembler_analysis::AssemblerLines lines;
    ASSERT_TRUE(generator.generate({bytes.data(), bytes.size(), row.codeAddress, 64, nullptr}, lines, nullptr));
    for (const auto& line : lines) EXPECT_FALSE(line.isBadData()) << "row " << id << " at " << std::hex << line.address();
    // A loop's code ends with its back edge.
    const assembler_analysis::class_mask_t branches = assembler_analysis::classMask(
        {assembler_analysis::InstructionClass::ConditionalBranch, assembler_analysis::InstructionClass::Jump});
    EXPECT_TRUE(lines[lines.size() - 1].hasType(branches)) << "row " << id;
  }
  EXPECT_GE(loops, GetParam().loops.size());
  EXPECT_TRUE(host_data::loadResultDirectory(inputs_.outDir).ok()) << host_data::loadResultDirectory(inputs_.outDir).error();
}

INSTANTIATE_TEST_SUITE_P(Compilers, ImportKernels, testing::ValuesIn(kBuilds),
                         [](const testing::TestParamInfo<Build>& info) { return std::string(info.param.compiler); });

// Inputs that can't make a result stop with one line naming the culprit.
TEST(ImportErrors, NameTheInputAndWhy) {
  const std::string gcc = build("gcc"), clang = build("clang");
  if (gcc.empty() || clang.empty()) GTEST_SKIP() << "gcc and clang are needed to build examples/kernels";
  const fs::path dir = scratch() / "errors";
  fs::create_directories(dir / "records");
  const std::string stripped = (dir / "stripped").string();
  fs::copy_file(gcc, stripped, fs::copy_options::overwrite_existing);
  ASSERT_EQ(std::system(("strip " + stripped).c_str()), 0);
  std::ofstream(dir / "records" / "other.opt.yaml") << "--- !Missed\nPass: loop-vectorize\nName: MissedDetails\n"
                                                       "DebugLoc: { File: other.c, Line: 3, Column: 3 }\nFunction: f\n"
                                                       "Args:\n  - String: 'loop not vectorized'\n...\n";
  std::ofstream(dir / "other.perf.txt") << "other 5 1.0: 1000\n\t 1139 work (/usr/bin/other)\n";
  struct Case {
    ImportInputs inputs;
    const char* expected;
  };
  const Case cases[] = {
      {{(dir / "missing").string(), "", {}, "", "", ""}, "missing: cannot open the program"},
      {{stripped, "", {}, "", "", ""}, "stripped binary"},
      {{clang, data("kernels-gcc.perf.txt"), {}, "", "", ""}, "the samples are of another build of kernels"},
      {{gcc, (dir / "other.perf.txt").string(), {}, "", "", ""}, "the samples are of another program (/usr/bin/other)"},
      {{gcc, "", {(dir / "records").string()}, "", "", ""}, "the compiler records are of other sources (other.c"},
  };
  for (const Case& c : cases) {
    ImportSummary summary;
    std::string text, error;
    EXPECT_FALSE(nimbex::importer::importProgramText(c.inputs, summary, text, error));
    EXPECT_NE(error.find(c.expected), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
  }
  // Optional inputs that are missing are said, once each, and the result is made.
  ImportSummary summary;
  std::string text, error;
  ASSERT_TRUE(nimbex::importer::importProgramText({gcc, "", {}, "", "", ""}, summary, text, error)) << error;
  std::string warnings;
  for (const std::string& w : summary.warnings) warnings += w + "\n";
  for (const char* option : {"--perf", "--callgrind", "--roofs"}) EXPECT_NE(warnings.find(option), std::string::npos) << warnings;
}

// perf itself, where this machine lets us sample.
TEST(ImportWithPerf, RecordsAndImportsARun) {
  const std::string gcc = build("gcc");
  if (gcc.empty()) GTEST_SKIP() << "gcc could not build examples/kernels";
  const fs::path dir = scratch() / "perf";
  fs::create_directories(dir);
  const std::string data = (dir / "perf.data").string(), text = (dir / "perf.txt").string();
  const std::string record = "perf record -q -e cpu-clock -F 1000 -g -o " + data + " -- " + gcc + " 0.05 >/dev/null 2>&1";
  if (std::system(record.c_str()) != 0)
    GTEST_SKIP() << "perf record is not available or not permitted here (install linux-perf; "
                    "check /proc/sys/kernel/perf_event_paranoid)";
  ASSERT_EQ(std::system(("perf script -i " + data + " --no-inline --show-mmap-events -F comm,tid,time,period,ip,sym,dso > " +
                         text + " 2>/dev/null").c_str()), 0);
  ImportSummary summary;
  std::string result, error;
  ASSERT_TRUE(nimbex::importer::importProgramText({gcc, text, {}, "", "", ""}, summary, result, error)) << error;
  EXPECT_GT(summary.samples, 0u);
  EXPECT_EQ(summary.loops, 11u);
}

}  // namespace
