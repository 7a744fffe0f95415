#include "platform/host_data/result_loader.h"

#include <array>
#include <cctype>
#include <filesystem>
#include <limits>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/foundation/json_file.h"
#include "platform/foundation/json_reader.h"
#include "platform/host_data/host_throttling_model.h"
#include "platform/system_info/system_info.h"

namespace host_data {

const char* const kResultFileName = "result.json";

namespace da = data_abstractions2;
using foundation::JsonPath;
using foundation::JsonReader;
using foundation::pool_allocate;
using foundation::sptr_t;
using foundation::variant_t;
using simdjson::dom::array;
using simdjson::dom::element;
using simdjson::dom::object;

const std::string& LoadResult::error() const {
  static const std::string none;
  const std::string* message = std::get_if<std::string>(&state_);
  return message ? *message : none;
}

namespace {

constexpr std::string_view kFormatName = "nimbex-result";
constexpr std::int64_t kFormatVersion = 1;

struct NamedNumber {
  std::string_view name;
  std::int64_t value;
};

constexpr NamedNumber kTypeBits[] = {
    {"skipped", da::IMetadata::TypeSkipped},       {"loop", da::IMetadata::TypeLoop},
    {"split", da::IMetadata::TypeSplitLoop},       {"innermost", da::IMetadata::TypeInnermost},
    {"peel", da::IMetadata::TypePeelPart},         {"remainder", da::IMetadata::TypeRemainderPart},
    {"vectorBody", da::IMetadata::TypeVectorBodyPart}, {"marked", da::IMetadata::TypeMarked},
};

constexpr NamedNumber kDataKinds[] = {
    {"survey", da::IResultController::ResultSurvey},
    {"dependencies", da::IResultController::ResultDependencies},
    {"accessPatterns", da::IResultController::ResultAccessPatterns},
    {"roofline", da::IResultController::ResultRoofline},
    {"tripCounts", da::IResultController::ResultTripCounts},
};

constexpr NamedNumber kLocatorKinds[] = {
    {"modules", da::LocatorModules}, {"sources", da::LocatorSources}, {"cLibrary", da::LocatorCLibrary}};

constexpr NamedNumber kMixKinds[] = {{"summary", da::MixSummary}, {"static", da::MixStatic}, {"dynamic", da::MixDynamic}};

/// What a plain JSON value of a field the library reads must be. The
/// explicit {"kind": value} form is taken as written: it is how a file says
/// "this kind on purpose", for instance to test how readers cope with it.
enum class FieldClass { Any, Text, Number, Integer, Bool };

FieldClass fieldClass(int id) {
  switch (id) {
    case da::SourceFile: case da::FunctionName: case da::MangledName: case da::ModuleName:
    case da::VectorLengths: case da::Isa: case da::InstructionSets: case da::DataTypeName:
    case da::VectorizationMessage: case da::CompilerFlags: case da::CompilerName: case da::CompilerVersion:
    case da::DependencyField: case da::Field231: case da::Field232:
      return FieldClass::Text;
    case da::SelfTime: case da::TotalTime: case da::VectorEfficiency: case da::Field83:
    case da::StrideKind0: case da::StrideKind1: case da::StrideKind2:
      return FieldClass::Number;
    case 3: case da::Field21: case da::Field22: case da::IsSystemFunction: case da::Field24: case da::FuncInstIdx:
    case da::VectorizationDiagnosticId: case da::Field53: case da::LoopFlags55: case da::MainVectType:
    case da::LoopFlags59: case da::UnrollFactor: case da::Field64: case da::Field65: case da::InnerLoopCount:
    case da::Field92: case da::TripCountMin: case da::TripCountMax: case da::IterationCount: case da::Field392:
      return FieldClass::Integer;
    case da::Field36: case da::IsVectorized: case da::TripCountsValid: case da::Field144: case da::Field145:
    case da::Field146: case da::Field147: case da::StrideRowMark:
      return FieldClass::Bool;
    default:
      return FieldClass::Any;
  }
}

/// Null when `value` fits `expected`, else what was expected.
const char* misfit(FieldClass expected, const element& value) {
  using simdjson::dom::element_type;
  const element_type type = value.type();
  if (type == element_type::OBJECT) return nullptr;
  switch (expected) {
    case FieldClass::Any: return nullptr;
    case FieldClass::Text: return type == element_type::STRING ? nullptr : "expected a string";
    case FieldClass::Number: return value.is_number() ? nullptr : "expected a number";
    case FieldClass::Integer:
      return type == element_type::INT64 || type == element_type::UINT64 ? nullptr : "expected an integer";
    case FieldClass::Bool: return type == element_type::BOOL ? nullptr : "expected true or false";
  }
  return nullptr;
}

template <std::size_t N>
const NamedNumber* findName(const NamedNumber (&table)[N], std::string_view name) {
  for (const NamedNumber& entry : table) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

/// The values of an object with a fixed set of keys, by position in `names`.
template <std::size_t N>
struct Keys {
  const std::array<std::string_view, N>& names;
  std::array<std::optional<element>, N> values{};

  const std::optional<element>& operator[](std::string_view name) const {
    for (std::size_t i = 0; i < N; ++i) {
      if (names[i] == name) return values[i];
    }
    static const std::optional<element> none;
    return none;
  }
};

/// The field number of a `fields` key: a decimal number or a field name.
bool readFieldKey(JsonReader& reader, std::string_view key, const JsonPath& at, int& out) {
  if (!key.empty() && key[0] >= '0' && key[0] <= '9') {
    std::int64_t number = 0;
    if (!reader.readNumericKey(key, at, std::numeric_limits<int>::max(), number)) return false;
    if (number == 0) return reader.fail(at, "field 0 does not exist");
    out = static_cast<int>(number);
    return true;
  }
  // The name lookup reads up to a NUL: "SelfTime\0junk" must not pass.
  if (key.find('\0') != std::string_view::npos) return reader.fail(at, "a field name must not contain NUL");
  const std::string name(key);
  int id = 0;
  if (!data_abstractions2::fieldIdFromName(name.c_str(), id) || id == data_abstractions2::FieldNone) {
    return reader.fail(at, "unknown field name \"" + name + "\"");
  }
  out = id;
  return true;
}

/// Reads a whole result document into the contents of the models.
class ResultParser {
 public:
  ResultParser(JsonReader& reader, std::string directory, std::string resultFile, LoadDetail detail)
      : r_(reader), detail_(detail) {
    controller_.directory = std::move(directory);
    controller_.resultFile = std::move(resultFile);
  }

  bool parse(const element& root, ResultModels& out);
  /// The result says on which machine it was collected.
  bool hasMachineIsa() const { return hasMachineIsa_; }
  std::uint64_t machineIsa() const { return controller_.isaExtensions; }

 private:
  bool hasMachineIsa_ = false;
  std::unordered_map<std::uint64_t, std::string> symbols_;
  /// Iterative row tree under construction: the children of row i are
  /// childIds[childBegin[i] .. childBegin[i + 1]).
  struct PendingLinks {
    std::vector<std::uint64_t> childIds;
    std::vector<std::size_t> childBegin;
  };

  template <std::size_t N>
  bool collect(const element& value, const JsonPath& at, Keys<N>& keys);
  bool require(const std::optional<element>& value, const JsonPath& at, std::string_view key);
  template <std::size_t N>
  bool readKind(std::string_view key, const JsonPath& at, const NamedNumber (&names)[N], std::int64_t& out);
  template <std::size_t N>
  bool readNamedNumber(const element& value, const JsonPath& at, const NamedNumber (&names)[N], std::int64_t& out);

  bool parseMachine(const element& value, const JsonPath& at);
  bool parseCollected(const element& value, const JsonPath& at);
  bool parseRoofs(const element& value, const JsonPath& at);
  bool parseFileLocators(const element& value, const JsonPath& at);
  bool parseSession(const element& value, const JsonPath& at);
  bool parseSymbols(const element& value, const JsonPath& at);
  bool parseProgramMetrics(const element& value, const JsonPath& at);

  bool parseTree(const element& value, const JsonPath& at, da::DataType type, sptr_t<HostDataset>& out);
  bool parseRow(const element& value, const JsonPath& at, HostDataset& dataset, PendingLinks& links,
                std::unordered_map<std::uint64_t, std::size_t>& indexById);
  bool linkRows(const JsonPath& rowsAt, HostDataset& dataset, const PendingLinks& links);
  bool parseType(const element& value, const JsonPath& at, da::IMetadata::type_t& out);
  bool parseFields(const element& value, const JsonPath& at, HostNode& node, HostDataset& dataset);
  bool parseMachineCode(const element& value, const JsonPath& at, da::CodeBlock& out);
  bool parseInstructionMix(const element& value, const JsonPath& at, RowData& data);
  bool parseRoofline(const element& value, const JsonPath& at, da::RowRoofline& out);
  bool parseTripCounts(const element& value, const JsonPath& at, RowData& data);
  bool parseRecords(const element& value, const JsonPath& at, int kind, RowData& data);
  bool parseGathers(const element& value, const JsonPath& at, std::vector<da::Gather>& out);
  bool parseNtsCandidates(const element& value, const JsonPath& at, RowData& data);

  HostDataset& table(int kind);

  JsonReader& r_;
  const LoadDetail detail_;
  HostResultController::Contents controller_;
  HostSurveyingViewModel::Contents survey_;
  std::map<int, sptr_t<HostDataset>> tables_;
  SessionValues session_;
  bool anyShadowDiagnosis_ = false;
};

template <std::size_t N>
bool ResultParser::collect(const element& value, const JsonPath& at, Keys<N>& keys) {
  object fields;
  if (!r_.readObject(value, at, fields)) return false;
  for (auto entry : fields) {
    if (JsonReader::isIgnoredKey(entry.key)) continue;
    std::size_t i = 0;
    while (i < N && keys.names[i] != entry.key) ++i;
    if (i == N) return r_.fail(JsonPath(at, entry.key), "unknown key \"" + std::string(entry.key) + "\"");
    if (keys.values[i]) return r_.fail(JsonPath(at, entry.key), "key given twice");
    keys.values[i] = entry.value;
  }
  return true;
}

bool ResultParser::require(const std::optional<element>& value, const JsonPath& at, std::string_view key) {
  return value ? true : r_.fail(at, "missing key \"" + std::string(key) + "\"");
}

template <std::size_t N>
bool ResultParser::readKind(std::string_view key, const JsonPath& at, const NamedNumber (&names)[N],
                            std::int64_t& out) {
  if (!key.empty() && key[0] >= '0' && key[0] <= '9') {
    return r_.readNumericKey(key, at, std::numeric_limits<int>::max(), out);
  }
  const NamedNumber* found = findName(names, key);
  if (!found) return r_.fail(at, "unknown kind \"" + std::string(key) + "\"");
  out = found->value;
  return true;
}

template <std::size_t N>
bool ResultParser::readNamedNumber(const element& value, const JsonPath& at, const NamedNumber (&names)[N],
                                   std::int64_t& out) {
  std::string_view name;
  if (value.get_string().get(name) == simdjson::SUCCESS) {
    const NamedNumber* found = findName(names, name);
    if (!found) return r_.fail(at, "unknown name \"" + std::string(name) + "\"");
    out = found->value;
    return true;
  }
  return r_.readInteger(value, at, 0, std::numeric_limits<int>::max(), out);
}

bool ResultParser::parse(const element& root, ResultModels& out) {
  static const std::array<std::string_view, 12> names = {
      "format", "version", "machine", "collected", "frozen", "roofs",
      "fileLocators", "session", "programMetrics", "symbols", "bottomUp", "callTree"};
  const JsonPath top;
  Keys<12> keys{names};
  if (!collect(root, top, keys)) return false;

  // Identify the document before judging its content: a wrong file should be
  // reported as such, not as a list of unknown keys.
  if (!require(keys["format"], top, "format") || !require(keys["version"], top, "version")) return false;
  std::string_view format;
  if (!r_.readString(*keys["format"], JsonPath(top, "format"), format)) return false;
  if (format != kFormatName) {
    return r_.fail(JsonPath(top, "format"), "not a result file: format is \"" + std::string(format) + "\"");
  }
  std::int64_t version = 0;
  const JsonPath versionAt(top, "version");
  if (!r_.readInteger(*keys["version"], versionAt, std::numeric_limits<std::int64_t>::min(),
                      std::numeric_limits<std::int64_t>::max(), version)) {
    return false;
  }
  if (version != kFormatVersion) {
    return r_.fail(versionAt, "unsupported version " + std::to_string(version) + " (this reader knows version " +
                                  std::to_string(kFormatVersion) + ")");
  }

  if (keys["machine"] && !parseMachine(*keys["machine"], JsonPath(top, "machine"))) return false;
  if (keys["collected"] && !parseCollected(*keys["collected"], JsonPath(top, "collected"))) return false;
  if (keys["frozen"] && !r_.readBool(*keys["frozen"], JsonPath(top, "frozen"), controller_.frozen)) return false;
  if (keys["roofs"] && !parseRoofs(*keys["roofs"], JsonPath(top, "roofs"))) return false;
  if (keys["fileLocators"] && !parseFileLocators(*keys["fileLocators"], JsonPath(top, "fileLocators"))) return false;
  if (keys["session"] && !parseSession(*keys["session"], JsonPath(top, "session"))) return false;
  if (keys["symbols"] && !parseSymbols(*keys["symbols"], JsonPath(top, "symbols"))) return false;
  if (keys["programMetrics"] && !parseProgramMetrics(*keys["programMetrics"], JsonPath(top, "programMetrics"))) {
    return false;
  }
  // The bottom-up tree first, whatever the order of the keys: its records
  // come first in the loop-manager tables.
  if (keys["bottomUp"] && !parseTree(*keys["bottomUp"], JsonPath(top, "bottomUp"), da::BottomUp, survey_.bottomUp)) {
    return false;
  }
  if (keys["callTree"] && detail_ == LoadDetail::Full &&
      !parseTree(*keys["callTree"], JsonPath(top, "callTree"), da::CallTree, survey_.callTree)) {
    return false;
  }

  survey_.loopManager = pool_allocate<HostLoopManager>(tables_);
  if (anyShadowDiagnosis_) {
    survey_.throttlingModel = pool_allocate<HostThrottlingModel, da::IAVX512FreqThrottlingModel>();
  }
  out.resultController = pool_allocate<HostResultController>(std::move(controller_));
  out.surveyModel = pool_allocate<HostSurveyingViewModel>(std::move(survey_));
  out.session = std::move(session_);
  out.symbols = std::make_shared<const std::unordered_map<std::uint64_t, std::string>>(std::move(symbols_));
  return true;
}

bool ResultParser::parseMachine(const element& value, const JsonPath& at) {
  static const std::array<std::string_view, 4> names = {"isaExtensions", "cpuType", "maxVectorLength", "codeBits"};
  Keys<4> keys{names};
  if (!collect(value, at, keys)) return false;
  if (keys["isaExtensions"] &&
      !r_.readWord(*keys["isaExtensions"], JsonPath(at, "isaExtensions"), controller_.isaExtensions)) {
    return false;
  }
  hasMachineIsa_ = keys["isaExtensions"].has_value();
  if (keys["cpuType"] && !r_.readInt(*keys["cpuType"], JsonPath(at, "cpuType"), controller_.cpuType)) return false;
  if (keys["maxVectorLength"] &&
      !r_.readInt(*keys["maxVectorLength"], JsonPath(at, "maxVectorLength"), controller_.maxVectorLength)) {
    return false;
  }
  if (keys["codeBits"]) {
    const JsonPath bitsAt(at, "codeBits");
    if (!r_.readInt(*keys["codeBits"], bitsAt, controller_.codeBits)) return false;
    if (controller_.codeBits != 32 && controller_.codeBits != 64) return r_.fail(bitsAt, "expected 32 or 64");
  }
  return true;
}

bool ResultParser::parseCollected(const element& value, const JsonPath& at) {
  array kinds;
  if (!r_.readArray(value, at, kinds)) return false;
  std::size_t i = 0;
  for (element kind : kinds) {
    std::int64_t number = 0;
    if (!readNamedNumber(kind, JsonPath(at, i++), kDataKinds, number)) return false;
    controller_.collected.insert(static_cast<int>(number));
  }
  // A collected table exists even when no loop has records in it.
  if (controller_.collected.count(da::TableDependencies)) table(da::TableDependencies);
  if (controller_.collected.count(da::TableAccessPatterns)) table(da::TableAccessPatterns);
  return true;
}

bool ResultParser::parseRoofs(const element& value, const JsonPath& at) {
  static const std::array<std::string_view, 3> names = {"name", "value", "secondWord"};
  array roofs;
  if (!r_.readArray(value, at, roofs)) return false;
  std::size_t i = 0;
  for (element roofValue : roofs) {
    const JsonPath roofAt(at, i++);
    Keys<3> keys{names};
    if (!collect(roofValue, roofAt, keys)) return false;
    if (!require(keys["name"], roofAt, "name") || !require(keys["value"], roofAt, "value")) return false;
    da::RoofItem roof;
    std::string_view name;
    if (!r_.readString(*keys["name"], JsonPath(roofAt, "name"), name)) return false;
    roof.name = name;
    if (!r_.readWord(*keys["value"], JsonPath(roofAt, "value"), roof.value)) return false;
    if (keys["secondWord"] && !r_.readWord(*keys["secondWord"], JsonPath(roofAt, "secondWord"), roof.secondWord)) {
      return false;
    }
    survey_.roofs.push_back(std::move(roof));
  }
  return true;
}

// "2.36", "2.36.1": digits with at least one dot between them.
bool isLibraryVersion(std::string_view text) {
  bool dot = false, digit = false;
  for (char c : text) {
    if (c == '.') {
      if (!digit) return false;
      dot = true;
      digit = false;
    } else if (c >= '0' && c <= '9') {
      digit = true;
    } else {
      return false;
    }
  }
  return dot && digit;
}

// The version queries read a C library's version from its file name
// ("libc-2.31.so"). Since glibc 2.34 the file is plain "libc.so.6", so a
// locator that states its version is answered with the versioned name the
// library used to have, in the same directory; a name that already carries
// a version stays as it is.
std::string versionedLibraryPath(const std::string& path, std::string_view version) {
  const std::filesystem::path file(path);
  const std::string leaf = file.filename().string();
  std::size_t digit = leaf.find_first_of("0123456789");
  if (digit != std::string::npos) {
    std::size_t end = leaf.find_first_not_of("0123456789", digit);
    if (end != std::string::npos && leaf[end] == '.' && end + 1 < leaf.size() && std::isdigit(static_cast<unsigned char>(leaf[end + 1])))
      return path;
  }
  std::string stem = leaf.substr(0, leaf.find('.'));
  return (file.parent_path() / (stem + "-" + std::string(version) + ".so")).string();
}

bool ResultParser::parseFileLocators(const element& value, const JsonPath& at) {
  static const std::array<std::string_view, 2> names = {"path", "version"};
  object kinds;
  if (!r_.readObject(value, at, kinds)) return false;
  for (auto entry : kinds) {
    if (JsonReader::isIgnoredKey(entry.key)) continue;
    const JsonPath kindAt(at, entry.key);
    std::int64_t kind = 0;
    if (!readKind(entry.key, kindAt, kLocatorKinds, kind)) return false;
    if (survey_.fileLocators.count(static_cast<int>(kind))) return r_.fail(kindAt, "locator kind given twice");
    std::vector<da::FileLocator>& locators = survey_.fileLocators[static_cast<int>(kind)];
    array list;
    if (!r_.readArray(entry.value, kindAt, list)) return false;
    std::size_t i = 0;
    for (element locatorValue : list) {
      const JsonPath locatorAt(kindAt, i++);
      Keys<2> keys{names};
      if (!collect(locatorValue, locatorAt, keys) || !require(keys["path"], locatorAt, "path")) return false;
      std::string_view path, version;
      if (!r_.readString(*keys["path"], JsonPath(locatorAt, "path"), path)) return false;
      if (keys["version"]) {
        const JsonPath versionAt(locatorAt, "version");
        if (!r_.readString(*keys["version"], versionAt, version)) return false;
        if (!isLibraryVersion(version)) return r_.fail(versionAt, "expected a version such as \"2.36\"");
      }
      locators.push_back(da::FileLocator{kind == da::LocatorCLibrary && !version.empty()
                                             ? versionedLibraryPath(std::string(path), version)
                                             : std::string(path)});
    }
  }
  return true;
}

bool ResultParser::parseSession(const element& value, const JsonPath& at) {
  object values;
  if (!r_.readObject(value, at, values)) return false;
  for (auto entry : values) {
    if (JsonReader::isIgnoredKey(entry.key)) continue;
    variant_t typed;
    if (!r_.readTyped(entry.value, JsonPath(at, entry.key), typed)) return false;
    session_[std::string(entry.key)] = std::move(typed);
  }
  return true;
}

// Modules occupy distinct addresses in the profiled process, so one table
// serves them all; a module keeps its own list in the file for the reader.
bool ResultParser::parseSymbols(const element& value, const JsonPath& at) {
  object modules;
  if (!r_.readObject(value, at, modules)) return false;
  for (auto module : modules) {
    const JsonPath moduleAt(at, module.key);
    array entries;
    if (!r_.readArray(module.value, moduleAt, entries)) return false;
    std::size_t index = 0;
    for (element entry : entries) {
      const JsonPath entryAt(moduleAt, index++);
      static const std::array<std::string_view, 2> fields = {"address", "name"};
      Keys<2> keys{fields};
      if (!collect(entry, entryAt, keys)) return false;
      if (!require(keys["address"], entryAt, "address") || !require(keys["name"], entryAt, "name")) return false;
      std::uint64_t address = 0;
      std::string_view name;
      if (!r_.readWord(*keys["address"], JsonPath(entryAt, "address"), address)) return false;
      if (!r_.readString(*keys["name"], JsonPath(entryAt, "name"), name)) return false;
      if (!symbols_.emplace(address, std::string(name)).second) {
        return r_.fail(JsonPath(entryAt, "address"), "address given twice");
      }
    }
  }
  return true;
}

bool ResultParser::parseProgramMetrics(const element& value, const JsonPath& at) {
  static const std::array<std::string_view, 5> names = {"elapsedTime", "cpuTime", "gflops", "gintops",
                                                        "threadCount"};
  Keys<5> keys{names};
  if (!collect(value, at, keys)) return false;
  da::ProgramMetrics& metrics = survey_.programMetrics;
  const std::pair<std::string_view, double*> reals[] = {{"elapsedTime", &metrics.elapsedTime},
                                                         {"cpuTime", &metrics.cpuTime},
                                                         {"gflops", &metrics.gflops},
                                                         {"gintops", &metrics.gintops}};
  for (const auto& [name, target] : reals) {
    if (keys[name] && !r_.readNumber(*keys[name], JsonPath(at, name), *target)) return false;
  }
  if (keys["threadCount"] && !r_.readWord(*keys["threadCount"], JsonPath(at, "threadCount"), metrics.threadCount)) {
    return false;
  }
  return true;
}

HostDataset& ResultParser::table(int kind) {
  sptr_t<HostDataset>& slot = tables_[kind];
  if (!slot) slot = pool_allocate<HostDataset>(da::DataTypeNone);
  return *slot;
}

bool ResultParser::parseTree(const element& value, const JsonPath& at, da::DataType type, sptr_t<HostDataset>& out) {
  static const std::array<std::string_view, 1> names = {"rows"};
  Keys<1> keys{names};
  if (!collect(value, at, keys) || !require(keys["rows"], at, "rows")) return false;
  const JsonPath rowsAt(at, "rows");
  array rows;
  if (!r_.readArray(*keys["rows"], rowsAt, rows)) return false;

  // The dataset is held from the start: rows forward their reference counts
  // to it, so a row pointer made while loading must not be the only owner.
  sptr_t<HostDataset> dataset = pool_allocate<HostDataset>(type);
  PendingLinks links;
  std::unordered_map<std::uint64_t, std::size_t> indexById;
  // Growing two tables of a million ids step by step costs more than a
  // tenth of the load.
  indexById.reserve(rows.size());
  dataset->reserveRows(rows.size());
  std::size_t index = 0;
  for (element row : rows) {
    if (!parseRow(row, JsonPath(rowsAt, index++), *dataset, links, indexById)) return false;
  }
  links.childBegin.push_back(links.childIds.size());
  if (!linkRows(rowsAt, *dataset, links)) return false;
  out = std::move(dataset);
  return true;
}

bool ResultParser::parseRow(const element& value, const JsonPath& at, HostDataset& dataset, PendingLinks& links,
                            std::unordered_map<std::uint64_t, std::size_t>& indexById) {
  static const std::array<std::string_view, 13> names = {
      "id",       "type",           "children",       "fields",          "machineCode",
      "instructionMix", "roofline", "sourceTripCounts", "medianTripCount", "accessPatterns",
      "dependencies", "ntsCandidates", "avx512Shadow"};
  Keys<13> keys{names};
  if (!collect(value, at, keys) || !require(keys["id"], at, "id")) return false;

  const JsonPath idAt(at, "id");
  std::uint64_t id = 0;
  if (!r_.readWord(*keys["id"], idAt, id)) return false;
  const std::size_t index = dataset.rowCount();
  if (auto [it, added] = indexById.emplace(id, index); !added) {
    return r_.fail(idAt, "duplicate row id " + std::to_string(id) + " (first at index " +
                             std::to_string(it->second) + ")");
  }
  HostNode& node = dataset.addRow(id);

  if (keys["type"]) {
    da::IMetadata::type_t type = 0;
    if (!parseType(*keys["type"], JsonPath(at, "type"), type)) return false;
    node.setType(type);
  }

  links.childBegin.push_back(links.childIds.size());
  if (keys["children"]) {
    const JsonPath childrenAt(at, "children");
    array children;
    if (!r_.readArray(*keys["children"], childrenAt, children)) return false;
    std::size_t i = 0;
    for (element child : children) {
      std::uint64_t childId = 0;
      if (!r_.readWord(child, JsonPath(childrenAt, i++), childId)) return false;
      links.childIds.push_back(childId);
    }
  }

  if (detail_ == LoadDetail::Shape) return true;
  if (keys["fields"] && !parseFields(*keys["fields"], JsonPath(at, "fields"), node, dataset)) return false;
  if (keys["instructionMix"] &&
      !parseInstructionMix(*keys["instructionMix"], JsonPath(at, "instructionMix"), node.mutableData())) {
    return false;
  }
  if (keys["roofline"]) {
    da::RowRoofline roofline;
    if (!parseRoofline(*keys["roofline"], JsonPath(at, "roofline"), roofline)) return false;
    node.mutableData().roofline = roofline;
  }
  // The rest is what only a scan reads.
  if (detail_ == LoadDetail::Report) return true;
  if (keys["machineCode"] &&
      !parseMachineCode(*keys["machineCode"], JsonPath(at, "machineCode"), node.mutableData().code)) {
    return false;
  }
  if (keys["sourceTripCounts"] &&
      !parseTripCounts(*keys["sourceTripCounts"], JsonPath(at, "sourceTripCounts"), node.mutableData())) {
    return false;
  }
  if (keys["medianTripCount"]) {
    std::int64_t median = 0;
    if (!r_.readInteger(*keys["medianTripCount"], JsonPath(at, "medianTripCount"), 0,
                        std::numeric_limits<std::int64_t>::max(), median)) {
      return false;
    }
    node.mutableData().medianTripCount = median;
  }
  if (keys["accessPatterns"] && !parseRecords(*keys["accessPatterns"], JsonPath(at, "accessPatterns"),
                                              da::TableAccessPatterns, node.mutableData())) {
    return false;
  }
  if (keys["dependencies"] && !parseRecords(*keys["dependencies"], JsonPath(at, "dependencies"),
                                            da::TableDependencies, node.mutableData())) {
    return false;
  }
  if (keys["ntsCandidates"] &&
      !parseNtsCandidates(*keys["ntsCandidates"], JsonPath(at, "ntsCandidates"), node.mutableData())) {
    return false;
  }
  if (keys["avx512Shadow"]) {
    int diagnosis = 0;
    if (!r_.readInt(*keys["avx512Shadow"], JsonPath(at, "avx512Shadow"), diagnosis)) return false;
    node.mutableData().avx512Shadow = diagnosis;
    anyShadowDiagnosis_ = true;
  }
  return true;
}

bool ResultParser::linkRows(const JsonPath& rowsAt, HostDataset& dataset, const PendingLinks& links) {
  const std::size_t count = dataset.rowCount();
  for (std::size_t i = 0; i < count; ++i) {
    HostNode& parent = dataset.mutableRowAt(i);
    for (std::size_t k = links.childBegin[i]; k < links.childBegin[i + 1]; ++k) {
      const std::uint64_t childId = links.childIds[k];
      HostNode* child = dataset.mutableFindRow(childId);
      if (!child || child->parent() || child == &parent) {
        const JsonPath rowAt(rowsAt, i);
        const JsonPath childrenAt(rowAt, "children");
        const JsonPath childAt(childrenAt, k - links.childBegin[i]);
        if (!child) return r_.fail(childAt, "no row with id " + std::to_string(childId));
        if (child == &parent) return r_.fail(childAt, "row " + std::to_string(childId) + " names itself as a child");
        return r_.fail(childAt, "row " + std::to_string(childId) + " is already a child of row " +
                                    std::to_string(child->parent()->getId()));
      }
      child->setParent(&parent);
      parent.addChild(child);
    }
  }

  std::vector<HostNode*> roots;
  for (std::size_t i = 0; i < count; ++i) {
    HostNode& node = dataset.mutableRowAt(i);
    if (!node.parent()) roots.push_back(&node);
  }

  // Every row has at most one parent now, so a row that no walk from the
  // roots reaches hangs below a cycle of children. Count the reachable rows
  // with an explicit stack; trees may be far deeper than the call stack.
  std::size_t reached = 0;
  std::vector<const HostNode*> pending(roots.begin(), roots.end());
  while (!pending.empty()) {
    const HostNode* node = pending.back();
    pending.pop_back();
    ++reached;
    pending.insert(pending.end(), node->children().begin(), node->children().end());
  }
  if (reached != count) {
    std::unordered_set<const HostNode*> reachable;
    pending.assign(roots.begin(), roots.end());
    while (!pending.empty()) {
      const HostNode* node = pending.back();
      pending.pop_back();
      reachable.insert(node);
      pending.insert(pending.end(), node->children().begin(), node->children().end());
    }
    std::size_t first = 0;
    while (reachable.count(&dataset.rowAt(first))) ++first;
    // Climb from the first unreachable row until a row repeats: that row is
    // on the cycle, which is what the author of the file has to fix.
    std::unordered_set<const HostNode*> climbed;
    const HostNode* node = &dataset.rowAt(first);
    while (climbed.insert(node).second) node = node->parent();
    std::size_t index = 0;
    while (&dataset.rowAt(index) != node) ++index;
    return r_.fail(JsonPath(rowsAt, index), "row " + std::to_string(node->getId()) + " is its own ancestor");
  }

  for (std::size_t i = 0; i < count; ++i) dataset.mutableRowAt(i).finishFields();
  dataset.setRoots(std::move(roots));
  return true;
}

bool ResultParser::parseType(const element& value, const JsonPath& at, da::IMetadata::type_t& out) {
  array bits;
  if (value.get_array().get(bits) != simdjson::SUCCESS) {
    std::int64_t mask = 0;
    if (!r_.readInteger(value, at, 0, std::numeric_limits<std::int64_t>::max(), mask)) return false;
    out = static_cast<da::IMetadata::type_t>(mask);
    return true;
  }
  out = 0;
  std::size_t i = 0;
  for (element bit : bits) {
    const JsonPath bitAt(at, i++);
    std::string_view name;
    if (bit.get_string().get(name) == simdjson::SUCCESS) {
      const NamedNumber* found = findName(kTypeBits, name);
      if (!found) return r_.fail(bitAt, "unknown type name \"" + std::string(name) + "\"");
      out |= static_cast<da::IMetadata::type_t>(found->value);
      continue;
    }
    std::int64_t number = 0;
    if (!r_.readInteger(bit, bitAt, 0, std::numeric_limits<std::int64_t>::max(), number)) return false;
    out |= static_cast<da::IMetadata::type_t>(number);
  }
  return true;
}

bool ResultParser::parseFields(const element& value, const JsonPath& at, HostNode& node, HostDataset& dataset) {
  object fields;
  if (!r_.readObject(value, at, fields)) return false;
  for (auto entry : fields) {
    if (JsonReader::isIgnoredKey(entry.key)) continue;
    const JsonPath fieldAt(at, entry.key);
    int id = 0;
    variant_t typed;
    if (!readFieldKey(r_, entry.key, fieldAt, id)) return false;
    if (const char* expected = misfit(fieldClass(id), entry.value)) {
      return r_.fail(fieldAt, std::string(expected) + ", got " + std::string(JsonReader::describe(entry.value)));
    }
    if (!r_.readTyped(entry.value, fieldAt, typed)) return false;
    if (!node.addField(id, std::move(typed))) return r_.fail(fieldAt, "field " + std::to_string(id) + " given twice");
    dataset.noteField(id);
  }
  return true;
}

bool ResultParser::parseMachineCode(const element& value, const JsonPath& at, da::CodeBlock& out) {
  static const std::array<std::string_view, 2> names = {"address", "bytes"};
  Keys<2> keys{names};
  if (!collect(value, at, keys) || !require(keys["address"], at, "address") || !require(keys["bytes"], at, "bytes")) {
    return false;
  }
  if (!r_.readWord(*keys["address"], JsonPath(at, "address"), out.address)) return false;
  const JsonPath bytesAt(at, "bytes");
  std::string_view hex;
  if (!r_.readString(*keys["bytes"], bytesAt, hex)) return false;
  out.bytes.clear();
  out.bytes.reserve(hex.size() / 2);
  int high = -1;
  for (char c : hex) {
    if (c == ' ') continue;
    int digit = -1;
    if (c >= '0' && c <= '9') digit = c - '0';
    if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    if (digit < 0) return r_.fail(bytesAt, std::string("not a hexadecimal digit: '") + c + "'");
    if (high < 0) {
      high = digit;
    } else {
      out.bytes.push_back(static_cast<std::uint8_t>(high * 16 + digit));
      high = -1;
    }
  }
  if (high >= 0) return r_.fail(bytesAt, "odd number of hexadecimal digits");
  return true;
}

bool ResultParser::parseInstructionMix(const element& value, const JsonPath& at, RowData& data) {
  object kinds;
  if (!r_.readObject(value, at, kinds)) return false;
  for (auto kindEntry : kinds) {
    if (JsonReader::isIgnoredKey(kindEntry.key)) continue;
    const JsonPath kindAt(at, kindEntry.key);
    std::int64_t kind = 0;
    if (!readKind(kindEntry.key, kindAt, kMixKinds, kind)) return false;
    if (data.mixes.count(static_cast<int>(kind))) return r_.fail(kindAt, "mix kind given twice");
    da::InstructionMix& mix = data.mixes[static_cast<int>(kind)];
    object columns;
    if (!r_.readObject(kindEntry.value, kindAt, columns)) return false;
    for (auto cell : columns) {
      if (JsonReader::isIgnoredKey(cell.key)) continue;
      const JsonPath cellAt(kindAt, cell.key);
      std::int64_t column = 0;
      variant_t typed;
      if (!r_.readNumericKey(cell.key, cellAt, std::numeric_limits<int>::max(), column) ||
          !r_.readTyped(cell.value, cellAt, typed)) {
        return false;
      }
      if (!mix.emplace(static_cast<int>(column), std::move(typed)).second) {
        return r_.fail(cellAt, "column given twice");
      }
    }
  }
  return true;
}

bool ResultParser::parseRoofline(const element& value, const JsonPath& at, da::RowRoofline& out) {
  static const std::array<std::string_view, 6> names = {"operations",  "bytes",   "totalOperations",
                                                        "totalBytes", "opsType", "hasCallStacks"};
  Keys<6> keys{names};
  if (!collect(value, at, keys) || !require(keys["operations"], at, "operations") ||
      !require(keys["bytes"], at, "bytes")) {
    return false;
  }
  const std::pair<std::string_view, std::uint64_t*> words[] = {{"operations", &out.operations},
                                                                {"bytes", &out.bytes},
                                                                {"totalOperations", &out.totalOperations},
                                                                {"totalBytes", &out.totalBytes}};
  for (const auto& [name, target] : words) {
    if (keys[name] && !r_.readWord(*keys[name], JsonPath(at, name), *target)) return false;
  }
  if (keys["opsType"] && !r_.readInt(*keys["opsType"], JsonPath(at, "opsType"), out.opsType)) return false;
  if (keys["hasCallStacks"] && !r_.readBool(*keys["hasCallStacks"], JsonPath(at, "hasCallStacks"), out.hasCallStacks)) {
    return false;
  }
  return true;
}

bool ResultParser::parseTripCounts(const element& value, const JsonPath& at, RowData& data) {
  static const std::array<std::string_view, 2> distributionNames = {"value", "summands"};
  static const std::array<std::string_view, 2> summandNames = {"value", "count"};
  object fields;
  if (!r_.readObject(value, at, fields)) return false;
  for (auto entry : fields) {
    if (JsonReader::isIgnoredKey(entry.key)) continue;
    const JsonPath fieldAt(at, entry.key);
    int id = 0;
    if (!readFieldKey(r_, entry.key, fieldAt, id)) return false;
    if (data.tripCounts.count(id)) return r_.fail(fieldAt, "field " + std::to_string(id) + " given twice");
    Keys<2> keys{distributionNames};
    if (!collect(entry.value, fieldAt, keys) || !require(keys["value"], fieldAt, "value")) return false;
    da::SourceTripCountsData distribution;
    if (!r_.readWord(*keys["value"], JsonPath(fieldAt, "value"), distribution.value)) return false;
    if (keys["summands"]) {
      const JsonPath summandsAt(fieldAt, "summands");
      array summands;
      if (!r_.readArray(*keys["summands"], summandsAt, summands)) return false;
      std::size_t i = 0;
      for (element summandValue : summands) {
        const JsonPath summandAt(summandsAt, i++);
        Keys<2> summandKeys{summandNames};
        if (!collect(summandValue, summandAt, summandKeys) || !require(summandKeys["value"], summandAt, "value") ||
            !require(summandKeys["count"], summandAt, "count")) {
          return false;
        }
        da::SourceTripCountsSummand summand;
        if (!r_.readWord(*summandKeys["value"], JsonPath(summandAt, "value"), summand.value) ||
            !r_.readWord(*summandKeys["count"], JsonPath(summandAt, "count"), summand.count)) {
          return false;
        }
        distribution.summands.push_back(summand);
      }
    }
    data.tripCounts.emplace(id, std::move(distribution));
  }
  return true;
}

bool ResultParser::parseRecords(const element& value, const JsonPath& at, int kind, RowData& data) {
  // Dependency records have no gathers; that is checked once the keys are in.
  static const std::array<std::string_view, 2> recordNames = {"fields", "gathers"};
  array records;
  if (!r_.readArray(value, at, records)) return false;
  HostDataset& recordTable = table(kind);
  std::vector<int>& indices = data.tableIndices[kind];
  std::size_t i = 0;
  for (element record : records) {
    const JsonPath recordAt(at, i++);
    const std::size_t index = recordTable.rowCount();
    if (index >= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
      return r_.fail(recordAt, "too many records");
    }
    HostNode& node = recordTable.addRow(index);
    indices.push_back(static_cast<int>(index));
    const bool patterns = kind == da::TableAccessPatterns;
    Keys<2> keys{recordNames};
    if (!collect(record, recordAt, keys)) return false;
    if (!patterns && keys["gathers"]) return r_.fail(JsonPath(recordAt, "gathers"), "unknown key \"gathers\"");
    if (keys["fields"] && !parseFields(*keys["fields"], JsonPath(recordAt, "fields"), node, recordTable)) {
      return false;
    }
    node.finishFields();
    if (patterns && keys["gathers"] &&
        !parseGathers(*keys["gathers"], JsonPath(recordAt, "gathers"), node.mutableData().gathers)) {
      return false;
    }
  }
  return true;
}

bool ResultParser::parseGathers(const element& value, const JsonPath& at, std::vector<da::Gather>& out) {
  static const std::array<std::string_view, 3> names = {"variable", "pattern", "location"};
  array gathers;
  if (!r_.readArray(value, at, gathers)) return false;
  std::size_t i = 0;
  for (element gatherValue : gathers) {
    const JsonPath gatherAt(at, i++);
    Keys<3> keys{names};
    if (!collect(gatherValue, gatherAt, keys) || !require(keys["variable"], gatherAt, "variable") ||
        !require(keys["pattern"], gatherAt, "pattern")) {
      return false;
    }
    da::Gather gather;
    std::string_view text;
    if (!r_.readString(*keys["variable"], JsonPath(gatherAt, "variable"), text)) return false;
    gather.variableName = text;
    const JsonPath patternAt(gatherAt, "pattern");
    if (keys["pattern"]->get_string().get(text) == simdjson::SUCCESS) {
      gather.patternCode = text;
    } else {
      std::int64_t code = 0;
      if (!r_.readInteger(*keys["pattern"], patternAt, std::numeric_limits<std::int64_t>::min(),
                          std::numeric_limits<std::int64_t>::max(), code)) {
        return r_.fail(patternAt, "expected a string or an integer");
      }
      gather.patternCode = std::to_string(code);
    }
    if (keys["location"]) {
      if (!r_.readString(*keys["location"], JsonPath(gatherAt, "location"), text)) return false;
      gather.sourceLocation = text;
    }
    out.push_back(std::move(gather));
  }
  return true;
}

bool ResultParser::parseNtsCandidates(const element& value, const JsonPath& at, RowData& data) {
  static const std::array<std::string_view, 3> names = {"kind", "variable", "evictions"};
  array candidates;
  if (!r_.readArray(value, at, candidates)) return false;
  std::size_t i = 0;
  for (element candidateValue : candidates) {
    const JsonPath candidateAt(at, i++);
    Keys<3> keys{names};
    if (!collect(candidateValue, candidateAt, keys) || !require(keys["kind"], candidateAt, "kind")) return false;
    da::NTSCandidatesEvictionsInfo candidate;
    std::string_view text;
    if (!r_.readString(*keys["kind"], JsonPath(candidateAt, "kind"), text)) return false;
    candidate.kind = text;
    if (keys["variable"]) {
      if (!r_.readString(*keys["variable"], JsonPath(candidateAt, "variable"), text)) return false;
      candidate.variableName = text;
    }
    if (keys["evictions"] &&
        !r_.readWord(*keys["evictions"], JsonPath(candidateAt, "evictions"), candidate.evictions)) {
      return false;
    }
    data.ntsCandidates.push_back(std::move(candidate));
  }
  return true;
}

LoadResult parseDocument(JsonReader& reader, simdjson::padded_string text, const std::string& directory,
                         LoadDetail detail = LoadDetail::Full) {
  simdjson::dom::document document;
  element root;
  if (!reader.parseInto(document, text, root)) return LoadResult::failure(reader.error());
  // The document holds what the rows are made of; the text and the
  // parser's index of it would only add their weight (twice the file) to
  // the peak of the load.
  text = simdjson::padded_string();
  ResultModels models;
  ResultParser resultParser(reader, directory, (std::filesystem::path(directory) / kResultFileName).string(), detail);
  if (!resultParser.parse(root, models)) return LoadResult::failure(reader.error());
  // From now on "the machine" of the detectors is the one the result was
  // collected on, not the computer that reads it.
  if (resultParser.hasMachineIsa()) {
    system_info::SystemInfo::setCollectionMachine(
        static_cast<system_info::SystemInfo::IsaExtensions>(models.resultController->getIsaExtensions(0)));
  } else {
    system_info::SystemInfo::clearCollectionMachine();
  }
  return LoadResult::success(std::move(models));
}

}  // namespace

LoadResult loadResultDirectory(const std::string& directory, LoadDetail detail) {
  namespace fs = std::filesystem;
  const std::string resultPath = (fs::path(directory) / kResultFileName).string();
  std::error_code ec;
  if (!fs::is_directory(directory, ec)) return LoadResult::failure(directory + ": not a directory");
  JsonReader reader(resultPath);
  simdjson::padded_string text;
  if (!reader.loadFile(resultPath, text)) return LoadResult::failure(reader.error());
  return parseDocument(reader, std::move(text), directory, detail);
}

LoadResult loadResultText(std::string_view json, const std::string& directory, const std::string& fileName) {
  json.remove_prefix(foundation::utf8_bom_length(json));
  JsonReader reader(fileName);
  return parseDocument(reader, simdjson::padded_string(json), directory);
}

}  // namespace host_data
