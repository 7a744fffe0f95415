// The compiler record readers on records the installed gcc and clang write
// for data/remark_kernels.c, built at test time.

#include "platform/importer/remarks.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using nimbex::importer::LoopRemark;
using nimbex::importer::RemarkSet;

namespace {

fs::path scratchPath(const std::string& name) {
  return fs::temp_directory_path() / ("nimbex-remarks-" + std::to_string(::getpid())) / name;
}

fs::path scratch(const std::string& name) {
  fs::path dir = scratchPath(name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

bool have(const char* tool) { return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0; }

// Builds the kernels with both compilers (as installed by the install script)
// once for all tests, writing their records below one directory.
const RemarkSet& kernelRemarks() {
  static RemarkSet set;
  static bool built = false;
  if (built) return set;
  built = true;
  fs::path dir = scratch("kernels");
  std::string source = std::string(std::getenv("NIMBEX_SOURCE_DIR")) + "/tests/platform/importer/data/remark_kernels.c";
  for (const char* cc : {"gcc", "clang"}) {
    if (!have(cc)) continue;
    std::string command = "cd " + dir.string() + " && " + cc + " -O3 -g -march=haswell -fsave-optimization-record -c " +
                          source + " -o " + cc + ".o";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }
  std::string error;
  EXPECT_TRUE(nimbex::importer::readRemarksBelow(dir.string(), set, error)) << error;
  EXPECT_TRUE(set.warnings.empty());
  return set;
}

const LoopRemark* find(const RemarkSet& set, const std::string& compiler, const std::string& function, unsigned line) {
  for (const auto& l : set.loops)
    if (l.compiler == compiler && l.function == function && l.line == line) return &l;
  return nullptr;
}

struct VerdictRow {
  const char* compiler;
  const char* function;
  unsigned line;
  bool vectorized;
  std::vector<unsigned> lengths;
  int diagnostic;
  const char* reasonPart;  // a part of the compiler's own text
};

const VerdictRow kVerdicts[] = {
    // gcc puts a loop on its condition, with the epilogue's length after the body's
    {"gcc", "saxpy", 5, true, {8, 4}, 15300, "32 byte vectors"},
    {"gcc", "indirect", 13, true, {4, 2}, 15300, ""},
    {"gcc", "with_call", 9, false, {}, -1, "function calls"},
    {"gcc", "recur", 17, false, {}, 15344, "not vectorized"},
    {"gcc", "zero", 21, false, {}, 15306, "library call"},
    {"gcc", "nest", 34, false, {}, 15533, "complicated access pattern"},
    {"gcc", "nest", 35, true, {8}, 15300, ""},
    {"gcc", "search", 39, false, {}, 15533, "control flow in loop"},
    // clang puts it on the for, and its reasons on the statement that blocked it
    {"clang", "saxpy", 5, true, {8}, 15300, "vectorization width: 8"},
    {"clang", "indirect", 13, true, {4}, 15300, ""},
    {"clang", "with_call", 9, false, {}, -1, "call instruction cannot be vectorized"},
    {"clang", "sum", 30, false, {}, -1, "reorder floating-point"},
    {"clang", "search", 39, false, {}, 15533, "number of loop iterations"},
    {"clang", "zero", 22, false, {}, 15306, "memset"},
};

TEST(CompilerRecords, EachLoopGetsTheVerdictItsCompilerGave) {
  const RemarkSet& set = kernelRemarks();
  for (const VerdictRow& row : kVerdicts) {
    SCOPED_TRACE(std::string(row.compiler) + " " + row.function + ":" + std::to_string(row.line));
    if (!have(row.compiler)) continue;
    const LoopRemark* l = find(set, row.compiler, row.function, row.line);
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(l->vectorized, row.vectorized);
    EXPECT_EQ(l->vectorLengths, row.lengths);
    EXPECT_EQ(l->diagnostic, row.diagnostic);
    EXPECT_NE(l->reason.find(row.reasonPart), std::string::npos) << l->reason;
    EXPECT_EQ(l->reason.find('\n'), std::string::npos);
  }
}

TEST(CompilerRecords, DetailsOnlyOneCompilerGives) {
  const RemarkSet& set = kernelRemarks();
  if (have("gcc")) {
    const LoopRemark* saxpy = find(set, "gcc", "saxpy", 5);
    ASSERT_NE(saxpy, nullptr);
    EXPECT_EQ(saxpy->elementType, "float");
    EXPECT_TRUE(saxpy->epilogueRequired);
    EXPECT_TRUE(saxpy->epilogueVectorized);
    EXPECT_EQ(find(set, "gcc", "indirect", 13)->elementType, "double");
    // the reason the number comes from, not the one gcc prints first
    EXPECT_EQ(find(set, "gcc", "recur", 17)->reasonKey, "bad data dependence");
    EXPECT_TRUE(find(set, "gcc", "zero", 21)->memRoutine);
  }
  if (have("clang")) {
    const LoopRemark* saxpy = find(set, "clang", "saxpy", 5);
    ASSERT_NE(saxpy, nullptr);
    EXPECT_EQ(saxpy->interleave, 4u);
    EXPECT_EQ(saxpy->column, 3u);
    EXPECT_EQ(find(set, "clang", "with_call", 9)->reasonKey, "CantVectorizeLibcall");
    const LoopRemark* spilling = find(set, "clang", "spill", 45);
    ASSERT_NE(spilling, nullptr);
    EXPECT_GT(spilling->spills, 0u);
    EXPECT_GT(spilling->reloads, 0u);
  }
}

TEST(CompilerRecords, OneEntryPerLoopWhenTheSameRecordIsReadTwice) {
  if (!have("clang")) GTEST_SKIP() << "clang is not installed";
  RemarkSet set = kernelRemarks();
  const size_t before = set.loops.size();
  std::string error;
  ASSERT_TRUE(nimbex::importer::readClangOptYaml((scratchPath("kernels") / "clang.opt.yaml").string(), set, error))
      << error;
  EXPECT_EQ(set.loops.size(), before);
}

void writeGzip(const fs::path& path, const std::string& text) {
  gzFile f = gzopen(path.c_str(), "wb");
  gzwrite(f, text.data(), static_cast<unsigned>(text.size()));
  gzclose(f);
}

TEST(CompilerRecords, BrokenFilesAreNamedWithTheirPlace) {
  fs::path dir = scratch("broken");
  struct Row {
    const char* name;
    std::string content;
    bool gzip;
    const char* errorPart;
  } rows[] = {
      {"plain.opt-record.json.gz", "[{}, [], []]", false, ""},  // gzopen reads plain files: still a record
      {"garbage.opt-record.json.gz", "not json at all", true, "not a gcc optimization record"},
      {"cut.opt-record.json.gz", "[{\"format\": \"1\"}, [], [{\"kind\": \"note\", ", true, "at byte"},
      {"short.opt-record.json.gz", "[{\"format\": \"1\"}]", true, "has no records"},
      {"damaged.opt-record.json.gz", std::string("\x1f\x8b\x08\x00garbage", 11), false, "damaged"},
      {"bad.opt.yaml", "--- !Passed\nPass: [unclosed\n", false, "bad.opt.yaml:"},
      {"nopass.opt.yaml", "--- !Passed\nName: X\n...\n", false, "without a Pass"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    fs::path path = dir / row.name;
    if (row.gzip) writeGzip(path, row.content);
    else std::ofstream(path) << row.content;
    RemarkSet set;
    std::string error;
    bool yaml = std::string(row.name).find(".yaml") != std::string::npos;
    bool ok = yaml ? nimbex::importer::readClangOptYaml(path.string(), set, error)
                   : nimbex::importer::readGccOptRecord(path.string(), set, error);
    EXPECT_EQ(ok, *row.errorPart == '\0') << error;
    if (!ok) {
      EXPECT_EQ(error.rfind(path.string(), 0), 0u) << error;
      EXPECT_NE(error.find(row.errorPart), std::string::npos) << error;
      EXPECT_EQ(error.find('\n'), std::string::npos);
    }
  }
  // Scanning a tree, a broken file is a warning and the rest is still read.
  RemarkSet set;
  std::string error;
  EXPECT_TRUE(nimbex::importer::readRemarksBelow(dir.string(), set, error));
  EXPECT_EQ(set.warnings.size(), 6u);
  EXPECT_FALSE(nimbex::importer::readRemarksBelow((dir / "missing").string(), set, error));
}

}  // namespace
