// Every way a result file can be wrong ends the load with one message that
// names the file and the JSON Pointer of the culprit.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/host_data/result_loader.h"
#include "platform/system_info/system_info.h"

namespace {

using host_data::loadResultText;

std::string withRows(const std::string& rows) {
  return R"({"format": "nimbex-result", "version": 1, "bottomUp": {"rows": [)" + rows + "]}}";
}

// The one row 1 with these members.
std::string oneRow(const std::string& members) { return withRows(R"({"id": 1, )" + members + "}"); }

std::string withTop(const std::string& members) {
  return R"({"format": "nimbex-result", "version": 1, )" + members + "}";
}

struct BadInput {
  const char* name;
  std::string json;
  const char* expected;
};

class LoaderErrors : public testing::TestWithParam<BadInput> {};

TEST_P(LoaderErrors, NamesFileAndPlace) {
  const BadInput& input = GetParam();
  host_data::LoadResult loaded = loadResultText(input.json, "/results/r1");
  ASSERT_FALSE(loaded.ok());
  EXPECT_NE(loaded.error().find(input.expected), std::string::npos) << loaded.error();
  EXPECT_EQ(loaded.error().rfind("result.json: ", 0), 0u) << loaded.error();
}

const BadInput kBadInputs[] = {
    // The document as a whole.
    {"NotJson", "{\"format\": ", "result.json: not valid JSON at line 1, column 12"},
    {"Empty", "", "result.json: not valid JSON at line 1, column 1"},
    {"BadTokenOnLineThree", "{\n  \"format\": \"nimbex-result\",\n  \"version\": 1,,\n}",
     "not valid JSON at line 3, column 16"},
    {"ControlCharactersEscaped", withTop("\"bottom\\u001b[31mUp\\n\": 1"), "/bottom\\u001b[31mUp\\n: unknown key"},
    {"SymbolsNotAnObject", withTop(R"("symbols": [])"), "/symbols: expected an object, got an array"},
    {"SymbolWithoutName", withTop(R"("symbols": {"heat": [{"address": "0x10"}]})"), "/symbols/heat/0: missing key \"name\""},
    {"SymbolAddressTwice",
     withTop(R"("symbols": {"heat": [{"address": "0x10", "name": "a"}], "libm": [{"address": 16, "name": "b"}]})"),
     "/symbols/libm/0/address: address given twice"},
    {"FieldNameWithNul", oneRow(R"("fields": {"SelfTime\u0000x": 1.0})"), "must not contain NUL"},
    {"TopIsArray", "[]", "result.json: /: expected an object, got an array"},
    {"NoFormat", R"({"version": 1})", "/: missing key \"format\""},
    {"OtherFormat", R"({"format": "trace", "version": 1})", "/format: not a result file"},
    {"FutureVersion", R"({"format": "nimbex-result", "version": 2})", "/version: unsupported version 2"},
    {"UnknownTopKey", withTop(R"("bottomup": {"rows": []})"), "/bottomup: unknown key \"bottomup\""},
    {"KeyTwice", withTop(R"("frozen": true, "frozen": false)"), "/frozen: key given twice"},
    // Result-level values.
    {"FrozenNotBool", withTop(R"("frozen": 1)"), "/frozen: expected true or false, got an integer"},
    {"CodeBits", withTop(R"("machine": {"codeBits": 16})"), "/machine/codeBits: expected 32 or 64"},
    {"UnknownDataKind", withTop(R"("collected": ["survey", "traces"])"), "/collected/1: unknown name \"traces\""},
    {"MetricNotNumber", withTop(R"("programMetrics": {"elapsedTime": "4s"})"),
     "/programMetrics/elapsedTime: expected a number, got a string"},
    {"RoofWithoutValue", withTop(R"("roofs": [{"name": "DRAM"}])"), "/roofs/0: missing key \"value\""},
    {"NegativeRoof", withTop(R"("roofs": [{"name": "DRAM", "value": -1}])"),
     "/roofs/0/value: expected a non-negative integer"},
    {"UnknownLocatorKind", withTop(R"("fileLocators": {"libraries": []})"),
     "/fileLocators/libraries: unknown kind \"libraries\""},
    {"LibraryVersionNotANumber",
     withTop(R"("fileLocators": {"cLibrary": [{"path": "/lib/libc.so.6", "version": "2.x"}]})"),
     "/fileLocators/cLibrary/0/version: expected a version such as \"2.36\""},
    {"SessionNull", withTop(R"("session": {"totalElapsedTime": null})"),
     "/session/totalElapsedTime: expected a typed value, got null"},
    // Rows and the shape of the tree.
    {"RowsNotArray", withTop(R"("bottomUp": {"rows": {}})"), "/bottomUp/rows: expected an array, got an object"},
    {"RowWithoutId", withRows(R"({"type": 4})"), "/bottomUp/rows/0: missing key \"id\""},
    {"NegativeId", withRows(R"({"id": -3})"), "/bottomUp/rows/0/id: expected a non-negative integer"},
    {"DuplicateId", withRows(R"({"id": 1}, {"id": 2}, {"id": 1})"), "/bottomUp/rows/2/id: duplicate row id 1"},
    {"DanglingChild", withRows(R"({"id": 1, "children": [2, 9]}, {"id": 2})"),
     "/bottomUp/rows/0/children/1: no row with id 9"},
    {"TwoParents", withRows(R"({"id": 1, "children": [3]}, {"id": 2, "children": [3]}, {"id": 3})"),
     "/bottomUp/rows/1/children/0: row 3 is already a child of row 1"},
    {"OwnChild", oneRow(R"("children": [1])"), "/bottomUp/rows/0/children/0: row 1 names itself"},
    {"Cycle", withRows(R"({"id": 1, "children": [2]}, {"id": 2, "children": [1]}, {"id": 3})"),
     "/bottomUp/rows/0: row 1 is its own ancestor"},
    {"RowsBelowCycle",
     withRows(R"({"id": 5}, {"id": 6, "children": [7]}, {"id": 7, "children": [8]}, {"id": 8, "children": [6]})"),
     "/bottomUp/rows/1: row 6 is its own ancestor"},
    {"CallTreeToo", withTop(R"("callTree": {"rows": [{"id": 1, "children": [4]}]})"),
     "/callTree/rows/0/children/0: no row with id 4"},
    {"UnknownRowKey", oneRow(R"("Fields": {})"), "/bottomUp/rows/0/Fields: unknown key \"Fields\""},
    {"UnknownTypeName", oneRow(R"("type": ["loop", "lop"])"), "/bottomUp/rows/0/type/1: unknown type name \"lop\""},
    {"TypeNotMask", oneRow(R"("type": "loop")"), "/bottomUp/rows/0/type: expected an integer"},
    // Fields.
    {"FieldOfWrongClass", withRows(R"({"id": 1}, {"id": 2}, {"id": 3}, {"id": 4, "fields": {"SelfTime": "0.5"}})"),
     "result.json: /bottomUp/rows/3/fields/SelfTime: expected a number, got a string"},
    {"FractionForInteger", oneRow(R"("fields": {"UnrollFactor": 2.5})"),
     "/fields/UnrollFactor: expected an integer, got a number"},
    {"IntegerForBool", oneRow(R"("fields": {"IsVectorized": 1})"),
     "/fields/IsVectorized: expected true or false, got an integer"},
    {"UnknownFieldName", oneRow(R"("fields": {"SelfTim": 0.5})"), "/fields/SelfTim: unknown field name \"SelfTim\""},
    {"FieldZero", oneRow(R"("fields": {"0": 1})"), "/fields/0: field 0 does not exist"},
    {"FieldByNumberAndName", oneRow(R"("fields": {"10": 1.0, "SelfTime": 2.0})"),
     "/fields/SelfTime: field 10 given twice"},
    {"IntegerTooLarge", oneRow(R"("fields": {"999": 9223372036854775808})"),
     "/fields/999: integer 9223372036854775808 does not fit i64"},
    {"KindOutOfRange", oneRow(R"("fields": {"999": {"u8": 256}})"), "/fields/999/u8: out of range for u8"},
    {"NegativeUnsigned", oneRow(R"("fields": {"999": {"u32": -1}})"), "/fields/999/u32: out of range for u32"},
    {"UnknownKind", oneRow(R"("fields": {"999": {"int": 1}})"), "unknown value kind \"int\""},
    {"TwoKinds", oneRow(R"("fields": {"999": {"i32": 1, "i64": 1}})"),
     "/fields/999: expected an object with exactly one key"},
    {"KindOfWrongPayload", oneRow(R"("fields": {"999": {"bool": "yes"}})"),
     "/fields/999/bool: expected true or false, got a string"},
    // Per-row data.
    {"OddHexDigits", oneRow(R"("machineCode": {"address": 4096, "bytes": "c5 f"})"),
     "/machineCode/bytes: odd number of hexadecimal digits"},
    {"NotHex", oneRow(R"("machineCode": {"address": 4096, "bytes": "c5 fg"})"),
     "/machineCode/bytes: not a hexadecimal digit: 'g'"},
    {"BadAddress", oneRow(R"("machineCode": {"address": "4096", "bytes": ""})"),
     "/machineCode/address: expected a hexadecimal word"},
    {"CodeWithoutAddress", oneRow(R"("machineCode": {"bytes": "90"})"), "/machineCode: missing key \"address\""},
    {"UnknownMixKind", oneRow(R"("instructionMix": {"fast": {}})"), "/instructionMix/fast: unknown kind \"fast\""},
    {"MixColumnName", oneRow(R"("instructionMix": {"static": {"loads": 3}})"),
     "/instructionMix/static/loads: expected a decimal number as key"},
    {"RooflineWithoutBytes", oneRow(R"("roofline": {"operations": 10})"), "/roofline: missing key \"bytes\""},
    {"TripCountsNotObject", oneRow(R"("sourceTripCounts": {"TripCountAverage": 16})"),
     "/sourceTripCounts/TripCountAverage: expected an object, got an integer"},
    {"SummandWithoutCount",
     oneRow(R"("sourceTripCounts": {"135": {"value": 16, "summands": [{"value": 16}]}})"),
     "/sourceTripCounts/135/summands/0: missing key \"count\""},
    {"NegativeMedian", oneRow(R"("medianTripCount": -2)"), "/medianTripCount: integer -2 is out of range"},
    {"GatherWithoutVariable", oneRow(R"("accessPatterns": [{"gathers": [{"pattern": 3}]}])"),
     "/accessPatterns/0/gathers/0: missing key \"variable\""},
    {"DependencyWithGathers", oneRow(R"("dependencies": [{"gathers": []}])"),
     "/dependencies/0/gathers: unknown key \"gathers\""},
    {"StrideShareAsText", oneRow(R"("accessPatterns": [{"fields": {"StrideKind0": "90%"}}])"),
     "/accessPatterns/0/fields/StrideKind0: expected a number, got a string"},
    {"NtsWithoutKind", oneRow(R"("ntsCandidates": [{"variable": "a"}])"), "/ntsCandidates/0: missing key \"kind\""},
    {"ShadowNotInteger", oneRow(R"("avx512Shadow": "high")"), "/avx512Shadow: expected an integer, got a string"},
    // Pointer escaping: "/" and "~" in keys.
    {"EscapedKey", oneRow(R"("fields": {"a/b~c": 1})"), "/fields/a~1b~0c: unknown field name"},
};

INSTANTIATE_TEST_SUITE_P(BadFiles, LoaderErrors, testing::ValuesIn(kBadInputs),
                         [](const testing::TestParamInfo<BadInput>& info) { return info.param.name; });

TEST(LoaderErrors, ExtensionKeysAreIgnoredEverywhere) {
  const std::string json = withTop(R"("x-note": "made by hand", "machine": {"x-cpu": "?", "cpuType": 3},
      "bottomUp": {"x-count": 1, "rows": [{"id": 1, "x-why": "root", "fields": {"x-unit": "s", "SelfTime": 1.0}}]})");
  host_data::LoadResult loaded = loadResultText(json, "/results/r1");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  EXPECT_EQ(loaded.models().resultController->getCpuType(0), 3);
}

TEST(LoaderErrors, DirectoryProblemsNameThePath) {
  host_data::LoadResult missing = host_data::loadResultDirectory("/nonexistent/result-dir");
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error(), "/nonexistent/result-dir: not a directory");
}

// What stands where result.json belongs decides the message; a byte order
// mark in front of a good document is no fault.
TEST(LoaderFiles, TheRealReasonOrTheDocument) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / ("nimbex_loader_files_" + std::to_string(::getpid()));
  struct Case {
    const char* name;
    void (*make)(const fs::path& file);
    const char* expected;  // empty: loads
  };
  const Case cases[] = {
      {"missing", [](const fs::path&) {}, "result.json: no such file"},
      {"directory", [](const fs::path& f) { fs::create_directory(f); }, "result.json: is a directory"},
      {"fifo", [](const fs::path& f) { ::mkfifo(f.c_str(), 0600); }, "result.json: is not a regular file"},
      {"byte order mark",
       [](const fs::path& f) {
         std::ofstream(f) << "\xEF\xBB\xBF" << R"({"format": "nimbex-result", "version": 1})";
       },
       ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(dir);
    fs::create_directories(dir);
    c.make(dir / "result.json");
    host_data::LoadResult loaded = host_data::loadResultDirectory(dir.string());
    if (*c.expected == '\0') {
      EXPECT_TRUE(loaded.ok()) << loaded.error();
    } else {
      ASSERT_FALSE(loaded.ok());
      EXPECT_EQ(loaded.error(), (dir / c.expected).string());
    }
  }
  fs::remove_all(dir);
}

// "The machine" of the detectors is the one in the result's system block,
// whatever computer reads it; a result without one leaves this computer.
TEST(LoaderMachine, TheResultsMachineIsTheMachine) {
  using system_info::SystemInfo;
  struct Case {
    const char* top;
    int vectorBits;
  };
  const Case cases[] = {
      {R"("machine": {"isaExtensions": 10})", 256},
      {R"("machine": {"isaExtensions": 11})", 512},
      {R"("machine": {"isaExtensions": 6})", 128},
      {R"("frozen": false)", SystemInfo(SystemInfo::detectIsaExtensions()).getMaxVectorLength()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.top);
    ASSERT_TRUE(loadResultText(withTop(c.top), "/results/r1").ok());
    EXPECT_EQ(SystemInfo().getMaxVectorLength(), c.vectorBits);
  }
  SystemInfo::clearCollectionMachine();
}

TEST(LoaderSymbols, OneTableForAllModules) {
  host_data::LoadResult loaded = loadResultText(
      withTop(R"("symbols": {"heat": [{"address": "0x404018", "name": "exp"}], "libm.so.6": [{"address": 4096, "name": "sin"}]})"),
      "/results/r1");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  const auto& symbols = *loaded.models().symbols;
  EXPECT_EQ(symbols.size(), 2u);
  EXPECT_EQ(symbols.at(0x404018), "exp");
  EXPECT_EQ(symbols.at(4096), "sin");
  EXPECT_TRUE(loadResultText(withTop(R"("frozen": false)"), "/r").models().symbols->empty());
}

// The C library's version reaches the version queries through the file name
// they read, also for a library whose own name carries none.
TEST(LoaderLocators, StatedLibraryVersionNamesTheVersionedFile) {
  struct Case {
    const char* locators;
    int kind;
    const char* path;
  };
  const Case cases[] = {
      {R"("cLibrary": [{"path": "/usr/lib/libc.so.6", "version": "2.36"}])", 3, "/usr/lib/libc-2.36.so"},
      {R"("cLibrary": [{"path": "/lib/libc-2.31.so", "version": "2.31"}])", 3, "/lib/libc-2.31.so"},
      {R"("cLibrary": [{"path": "/usr/lib/libc.so.6"}])", 3, "/usr/lib/libc.so.6"},
      {R"("modules": [{"path": "/usr/lib/libc.so.6", "version": "2.36"}])", 1, "/usr/lib/libc.so.6"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.locators);
    host_data::LoadResult loaded = loadResultText(withTop(std::string(R"("fileLocators": {)") + c.locators + "}"), "/r");
    ASSERT_TRUE(loaded.ok()) << loaded.error();
    std::vector<data_abstractions2::FileLocator> locators;
    ASSERT_TRUE(loaded.models().surveyModel->getFileLocators(c.kind, locators));
    ASSERT_EQ(locators.size(), 1u);
    EXPECT_EQ(locators[0].path, c.path);
  }
}

}  // namespace
