#include "platform/importer/program_import.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <simdjson.h>
#include <sstream>
#include <unordered_map>

#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/foundation/atomic_file.h"
#include "platform/foundation/json_writer.h"
#include "platform/importer/callgrind.h"
#include "platform/importer/elf_binary.h"
#include "platform/importer/loop_finder.h"
#include "platform/importer/perf_script.h"
#include "platform/importer/remarks.h"
#include "platform/system_info/system_info.h"

namespace nimbex::importer {

namespace fs = std::filesystem;
using assembler_analysis::AssemblerLine;
using assembler_analysis::AssemblerLines;
using assembler_analysis::class_mask_t;
using assembler_analysis::classMask;
using IC = assembler_analysis::InstructionClass;

namespace {

std::string leaf(const std::string& path) { return fs::path(path).filename().string(); }

bool sameModule(const std::string& module, const std::string& binary) {
  return module == binary || (!module.empty() && leaf(module) == leaf(binary));
}

// gcc names its clones after the function ("saxpy.constprop.0"); the
// records name the function.
std::string withoutCloneSuffix(const std::string& name) {
  std::size_t dot = name.find('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool endsWithPath(const std::string& full, const std::string& tail) {
  if (tail.empty() || full.size() < tail.size()) return false;
  if (full.compare(full.size() - tail.size(), tail.size(), tail) != 0) return false;
  return full.size() == tail.size() || tail[0] == '/' || full[full.size() - tail.size() - 1] == '/';
}

// ---------------------------------------------------------------------------
// What the machine code of a stretch of lines shows.

struct CodeFacts {
  int isaLevel = 0;  // system_info ladder
  std::set<int> isaLevels;
  bool conversions = false, gathers = false, scatters = false, maskedStores = false, horizontal = false,
       divisions = false, squareRoots = false, packed = false;
  int widestPacked = 0;  // bits
  std::string elementType;
};

int isaLevelOf(const AssemblerLine& line) {
  using SI = system_info::SystemInfo;
  static const class_mask_t simd = classMask({IC::Simd});
  if (!line.hasType(simd)) return SI::IsaNone;
  static const class_mask_t wide = classMask({IC::Width512, IC::MaskRegister});
  if (line.hasType(wide) || line.writeMask().valid()) return SI::IsaAvx512;
  static const class_mask_t avx2 = classMask({IC::FusedMultiplyAdd, IC::Gather});
  if (line.hasType(avx2)) return SI::IsaAvx2;
  static const class_mask_t ymm = classMask({IC::Width256});
  static const class_mask_t floating = classMask({IC::FloatingPoint});
  if (line.hasType(ymm) && !line.hasType(floating) && line.mnemonic().rfind("vp", 0) == 0) return SI::IsaAvx2;
  if (line.mnemonic().rfind("v", 0) == 0) return SI::IsaAvx;
  static const class_mask_t single = classMask({IC::SinglePrecision});
  static const class_mask_t dbl = classMask({IC::DoublePrecision});
  return line.hasType(single) && !line.hasType(dbl) ? SI::IsaSse : SI::IsaSse2;
}

CodeFacts codeFacts(const std::vector<const AssemblerLine*>& lines) {
  CodeFacts facts;
  static const class_mask_t packed = classMask({IC::Packed});
  static const class_mask_t arithmetic =
      classMask({IC::FloatAdd, IC::FloatMultiply, IC::FloatSubtract, IC::FloatDivide, IC::FusedMultiplyAdd,
                 IC::IntegerAddSubtract, IC::IntegerMultiply, IC::MinMax, IC::FloatSquareRoot, IC::Gather,
                 IC::Scatter, IC::Conversion});
  std::map<std::string, int> types;
  for (const AssemblerLine* line : lines) {
    int level = isaLevelOf(*line);
    if (level) facts.isaLevels.insert(level);
    facts.isaLevel = std::max(facts.isaLevel, level);
    facts.conversions |= line->hasType(classMask({IC::Conversion}));
    facts.gathers |= line->hasType(classMask({IC::Gather}));
    facts.scatters |= line->hasType(classMask({IC::Scatter}));
    facts.horizontal |= line->hasType(classMask({IC::Horizontal}));
    facts.divisions |= line->hasType(classMask({IC::FloatDivide, IC::IntegerDivide}));
    facts.squareRoots |= line->hasType(classMask({IC::FloatSquareRoot}));
    if (line->hasType(classMask({IC::WritesMemory})) && line->operandCount() &&
        line->operand(0).hasKind(assembler_analysis::KindMasked | assembler_analysis::KindMemory) &&
        (line->operand(0).hasKind(assembler_analysis::KindMasked) || line->mnemonic().find("maskmov") != std::string::npos))
      facts.maskedStores = true;
    if (line->hasType(packed) && line->hasType(arithmetic)) {
      facts.packed = true;
      int width = line->hasType(classMask({IC::Width512})) ? 512 : line->hasType(classMask({IC::Width256})) ? 256 : 128;
      facts.widestPacked = std::max(facts.widestPacked, width);
      if (line->operandCount()) {
        const std::string& type = line->operand(0).dataType();
        if (!type.empty() && type != "bits") ++types[type];
      }
    }
  }
  int best = 0;
  for (const auto& [type, count] : types)
    if (count > best) best = count, facts.elementType = type;
  return facts;
}

std::string instructionSets(const CodeFacts& facts) {
  std::vector<std::string> names;
  for (int level : facts.isaLevels) {
    std::string name = system_info::SystemInfo::getIsaAbbreviationAsString(
        static_cast<system_info::SystemInfo::IsaExtensions>(level));
    if (!name.empty()) names.push_back(name);
  }
  if (facts.conversions) names.push_back("Type Conversions");
  if (facts.gathers) names.push_back("Gathers");
  if (facts.scatters) names.push_back("Scatters");
  if (facts.maskedStores) names.push_back("Masked Stores");
  if (facts.horizontal) names.push_back("Horizontal Operations");
  if (facts.divisions) names.push_back("Divisions");
  if (facts.squareRoots) names.push_back("Square Roots");
  std::string out;
  for (const std::string& name : names) out += (out.empty() ? "" : "; ") + name;
  return out;
}

// The element names our format uses, and the main vector type's number.
std::pair<std::string, int> dataType(const std::string& element) {
  static const std::map<std::string, std::pair<std::string, int>> names = {
      {"float", {"float32", 5}},  {"double", {"float64", 6}}, {"half", {"float16", 9}},
      {"int8", {"int8", 1}},      {"uint8", {"uint8", 1}},    {"char", {"int8", 1}},
      {"int16", {"int16", 2}},    {"uint16", {"uint16", 2}},  {"short", {"int16", 2}},
      {"int32", {"int32", 3}},    {"uint32", {"uint32", 3}},  {"int", {"int32", 3}},
      {"unsigned int", {"uint32", 3}}, {"int64", {"int64", 4}}, {"uint64", {"uint64", 4}},
      {"long", {"int64", 4}},     {"long int", {"int64", 4}}, {"long unsigned int", {"uint64", 4}}};
  auto it = names.find(element);
  return it == names.end() ? std::pair<std::string, int>{"", 0} : it->second;
}

// Operations and bytes of one execution of an instruction.
struct Work {
  std::uint64_t flops = 0, intops = 0, bytes = 0;
};

Work workOf(const AssemblerLine& line) {
  Work work;
  static const class_mask_t flop = classMask({IC::FloatAdd, IC::FloatMultiply, IC::FloatSubtract, IC::FloatDivide,
                                              IC::FloatSquareRoot, IC::MinMax});
  static const class_mask_t fma = classMask({IC::FusedMultiplyAdd});
  static const class_mask_t intop = classMask({IC::IntegerAddSubtract, IC::IntegerMultiply, IC::IntegerDivide});
  static const class_mask_t simd = classMask({IC::Simd});
  std::uint64_t lanes = 1;
  if (line.operandCount() && line.hasType(classMask({IC::Packed})))
    lanes = std::max<std::uint64_t>(1, line.operand(0).elementCount());
  if (line.hasType(fma)) work.flops = 2 * lanes;
  else if (line.hasType(flop) && line.hasType(classMask({IC::FloatingPoint}))) work.flops = lanes;
  else if (line.hasType(intop) && line.hasType(simd)) work.intops = lanes;
  for (const assembler_analysis::Operand& operand : line.operands()) {
    if (!operand.hasKind(assembler_analysis::KindMemory | assembler_analysis::KindFixedMemory | assembler_analysis::KindStackSlot) ||
        operand.hasKind(assembler_analysis::KindAddressOnly))
      continue;
    work.bytes += operand.sizeBits() / 8;
  }
  return work;
}

// ---------------------------------------------------------------------------
// The program's pieces, joined.

struct Loop {  // a loop of the machine code
  int function = -1;
  MachineLoop shape;
  int parent = -1;  // index into loops
  std::vector<const AssemblerLine*> own;    // not in a nested loop
  std::vector<const AssemblerLine*> whole;  // from first to last address
  std::map<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>, unsigned> positions;  // own lines
  SourcePosition first;  // the smallest non-zero line of the own code
  bool located = false;
  int remark = -1, source = -1;
  int part = 0;  // type bit of its part
  double self = 0, total = 0;
};

struct SourceLoop {
  std::vector<int> parts;  // loops, by address
  int remark = -1, function = -1, parent = -1;
  std::vector<int> children;
  std::uint64_t index = 0;
  double self = 0, total = 0;
  int body() const;  // the loop that stands for it
  std::vector<Loop>* all = nullptr;
};

int SourceLoop::body() const {
  for (int part : parts)
    if ((*all)[part].part == 128) return part;
  for (int part : parts)
    if ((*all)[part].part == 0) return part;
  return parts.front();
}

struct Function {
  std::string name, demangled, module;
  bool systemModule = false;  // from the system's directories, the kernel or the vdso
  int elf = -1;  // index into the binary's functions
  std::vector<int> loops;  // its loops
  std::vector<int> topSources;
  std::uint64_t index = 0;
  double self = 0, total = 0;
  bool inBottomUp = false;
  std::vector<std::unique_ptr<AssemblerLines>> code;
};

class Json {
 public:
  std::string out;
  void key(const std::string& name) {
    if (!first_) out += ", ";
    first_ = false;
    foundation::append_json_string(out, name);
    out += ": ";
  }
  void text(const std::string& name, const std::string& value) {
    key(name);
    foundation::append_json_string(out, value);
  }
  void real(const std::string& name, double value) {
    key(name);
    foundation::append_json_real(out, std::isfinite(value) ? value : 0.0);
  }
  void integer(const std::string& name, long long value) {
    key(name);
    out += std::to_string(value);
  }
  void typed(const std::string& name, const char* kind, unsigned long long value) {
    key(name);
    out += "{\"" + std::string(kind) + "\": " + std::to_string(value) + "}";
  }
  void boolean(const std::string& name, bool value) {
    key(name);
    out += value ? "true" : "false";
  }
  void raw(const std::string& name, const std::string& json) {
    key(name);
    out += json;
  }

 private:
  bool first_ = true;
};

struct Row {
  std::uint64_t id = 0, type = 0;
  std::vector<std::uint64_t> children;
  Json fields, extra;
};

std::string rowsJson(const std::vector<Row>& rows) {
  std::string out = "{ \"rows\": [\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    out += "    { \"id\": " + std::to_string(row.id) + ", \"type\": " + std::to_string(row.type);
    if (!row.children.empty()) {
      out += ", \"children\": [";
      for (std::size_t c = 0; c < row.children.size(); ++c) out += (c ? ", " : "") + std::to_string(row.children[c]);
      out += "]";
    }
    out += ", \"fields\": {" + row.fields.out + "}";
    if (!row.extra.out.empty()) out += ", " + row.extra.out;
    out += i + 1 < rows.size() ? " },\n" : " }\n";
  }
  return out + "  ] }";
}

std::string hexAddress(std::uint64_t address) {
  std::ostringstream s;
  s << "\"0x" << std::hex << address << "\"";
  return s.str();
}

std::string bytesText(const std::vector<const AssemblerLine*>& lines, const ElfBinary& binary) {
  if (lines.empty()) return "";
  std::uint64_t begin = lines.front()->address(), end = lines.back()->address() + lines.back()->length();
  std::vector<std::uint8_t> bytes;
  if (!binary.code(begin, end - begin, bytes)) return "";
  static const char* digits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 3);
  for (std::uint8_t b : bytes) {
    if (!text.empty()) text += ' ';
    text += digits[b >> 4];
    text += digits[b & 15];
  }
  return text;
}

std::string mixJson(const assembler_analysis::InstructionMix& mix) {
  std::string out = "{";
  bool first = true;
  for (const auto& [column, count] : mix) {
    out += (first ? "\"" : ", \"") + std::to_string(column) + "\": " + std::to_string(count);
    first = false;
  }
  return out + "}";
}

// The C library's version, read from its own banner ("... release version 2.36.").
std::string cLibraryVersion(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "";
  std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::string marker = "release version ";
  for (std::size_t at = data.find(marker); at != std::string::npos; at = data.find(marker, at + 1)) {
    std::size_t i = at + marker.size(), j = i;
    while (j < data.size() && (std::isdigit(static_cast<unsigned char>(data[j])) || data[j] == '.')) ++j;
    while (j > i && data[j - 1] == '.') --j;
    if (j > i && data.find('.', i) < j) return data.substr(i, j - i);
  }
  return "";
}

bool isCLibrary(const std::string& path) {
  std::string name = leaf(path);
  return name.rfind("libc.so", 0) == 0 || name.rfind("libc-", 0) == 0;
}

class Importer {
 public:
  Importer(const ImportInputs& inputs, ImportSummary& summary) : in_(inputs), summary_(summary) {}
  bool run(std::string& text, std::string& error);

 private:
  void warn(std::string text) { summary_.warnings.push_back(std::move(text)); }
  void decode();
  bool readRemarks(std::string& error);
  void joinRemarks();
  void makeSourceLoops();
  bool readSamples(std::string& error);
  void restoreCaller(PerfSample& sample) const;
  void readCounts();
  bool readRoofs(std::string& error);
  int functionFor(const std::string& module, const std::string& symbol);
  int innermostLoop(int function, std::uint64_t address) const;
  std::vector<int> sourceChain(int loop) const;  // outermost first
  std::vector<int> calleesOf(int source);
  std::string moduleOf(const std::string& symbol);
  std::string write();
  void loopFields(Row& row, const SourceLoop& source);
  void functionFields(Json& fields, const Function& f);

  const ImportInputs& in_;
  ImportSummary& summary_;
  std::unique_ptr<ElfBinary> binary_;
  std::vector<Function> functions_;
  std::unordered_map<std::uint64_t, std::vector<std::uint64_t>> callSites_;  // callee -> return addresses
  std::map<std::pair<std::string, std::string>, int> functionByKey_;
  std::unordered_map<std::uint64_t, int> byAddress_;  // the program's functions; static ones may share a name
  int programFunction(const ElfFunction* ef) const { return byAddress_.at(ef->address); }
  std::vector<Loop> loops_;
  std::vector<SourceLoop> sources_;
  RemarkSet remarks_;
  PerfScript perf_;
  std::vector<std::string> modules_;
  std::map<std::string, std::unique_ptr<ElfBinary>> libraries_;
  double elapsed_ = 0, cpu_ = 0;
  std::set<std::uint32_t> threads_;
  struct Counts {
    bool present = false;
    std::uint64_t headerRuns = 0, backEdges = 0;
    assembler_analysis::InstructionMix mix;
    Work work;
  };
  std::vector<Counts> counts_;  // by loop
  bool haveCounts_ = false;
  std::string roofsJson_;
  std::uint64_t flops_ = 0, intops_ = 0;
  // Call tree, built from sample paths.
  struct CallNode {
    bool loop = false;
    int what = -1;  // function or source loop
    std::vector<int> children;
  };
  std::vector<CallNode> callNodes_;
  std::vector<int> callRoots_;
  int callChild(int parent, bool loop, int what);
};

void Importer::decode() {
  assembler_analysis::AssemblerGenerator generator;
  static const class_mask_t conditional = classMask({IC::ConditionalBranch});
  static const class_mask_t jump = classMask({IC::Jump});
  static const class_mask_t ret = classMask({IC::Return});
  const std::vector<ElfFunction>& elfFunctions = binary_->functions();
  for (std::size_t f = 0; f < elfFunctions.size(); ++f) {
    const ElfFunction& ef = elfFunctions[f];
    Function function;
    function.name = ef.name;
    function.demangled = ef.demangled;
    function.module = leaf(binary_->path());
    function.elf = static_cast<int>(f);
    const int index = static_cast<int>(functions_.size());
    functionByKey_.emplace(std::make_pair(function.module, function.name), index);
    byAddress_.emplace(ef.address, index);
    std::vector<std::uint8_t> bytes;
    auto lines = std::make_unique<AssemblerLines>();
    if (binary_->code(ef.address, ef.size, bytes)) {
      assembler_analysis::CodeRegion region{bytes.data(), bytes.size(), ef.address, binary_->codeBits(), nullptr};
      generator.generate(region, *lines, nullptr);
    }
    std::vector<FlowInstruction> flow;
    flow.reserve(lines->size());
    for (const AssemblerLine& line : *lines) {
      FlowInstruction in;
      in.address = line.address();
      in.length = static_cast<std::uint32_t>(line.length());
      bool relative = line.hasTarget() && line.operandCount() && line.operand(0).hasKind(assembler_analysis::KindRelative);
      if (line.hasType(conditional)) in.kind = FlowInstruction::Branch;
      else if (line.hasType(jump)) in.kind = relative ? FlowInstruction::Jump : FlowInstruction::Stop;
      else if (line.hasType(ret)) in.kind = FlowInstruction::Stop;
      in.hasTarget = relative;
      in.target = line.targetAddress();
      flow.push_back(in);
    }
    static const class_mask_t call = classMask({IC::Call});
    for (const AssemblerLine& line : *lines)
      if (line.hasType(call) && line.hasTarget() && line.operandCount() && line.operand(0).hasKind(assembler_analysis::KindRelative))
        callSites_[line.targetAddress()].push_back(line.address() + line.length());
    std::vector<MachineLoop> found = findLoops(flow);
    const int base = static_cast<int>(loops_.size());
    for (MachineLoop& shape : found) {
      Loop loop;
      loop.function = index;
      loop.parent = shape.parent < 0 ? -1 : base + shape.parent;
      loop.shape = std::move(shape);
      function.loops.push_back(static_cast<int>(loops_.size()));
      loops_.push_back(std::move(loop));
    }
    for (int l = base; l < static_cast<int>(loops_.size()); ++l) {
      Loop& loop = loops_[l];
      for (const AssemblerLine& line : *lines) {
        std::uint64_t a = line.address();
        if (a < loop.shape.begin() || a >= loop.shape.end()) continue;
        loop.whole.push_back(&line);
        if (!loop.shape.contains(a)) continue;
        bool nested = false;
        for (int child : loop.shape.children) nested |= loops_[base + child].shape.contains(a);
        if (nested) continue;
        loop.own.push_back(&line);
        SourcePosition p;
        if (!binary_->position(a, p) || p.line == 0) continue;
        ++loop.positions[{p.file, p.line, p.column}];
        if (!loop.located || p.line < loop.first.line) loop.first = p, loop.located = true;
      }
    }
    function.code.push_back(std::move(lines));
    functions_.push_back(std::move(function));
  }
  summary_.machineLoops = loops_.size();
}

bool Importer::readRemarks(std::string& error) {
  std::vector<std::string> dirs = in_.remarkDirs;
  bool given = !dirs.empty();
  if (!given) {
    std::set<std::string> seen;
    for (const CompileUnit& unit : binary_->units())
      if (!unit.compDir.empty() && seen.insert(unit.compDir).second && fs::is_directory(unit.compDir)) dirs.push_back(unit.compDir);
  }
  for (const std::string& dir : dirs) {
    if (!fs::is_directory(dir)) {
      error = dir + ": no such directory of compiler records";
      return false;
    }
    if (!readRemarksBelow(dir, remarks_, error)) return false;
  }
  for (std::string& warning : remarks_.warnings) warn(std::move(warning));
  if (given && !remarks_.loops.empty()) {
    // Records of other sources would join nothing and leave every verdict
    // silently absent; that is a mistake in the command, not missing data.
    bool ours = false;
    for (const LoopRemark& remark : remarks_.loops) {
      for (const std::string& file : binary_->files()) ours |= endsWithPath(file, remark.file);
      if (ours) break;
    }
    if (!ours) {
      error = dirs.front() + ": the compiler records are of other sources (" + remarks_.loops.front().file +
              ", ...), none of " + binary_->path();
      return false;
    }
  }
  summary_.remarks = remarks_.loops.size();
  if (remarks_.loops.empty())
    warn("no compiler optimization records (*.opt-record.json.gz, *.opt.yaml) found" +
         std::string(given ? "" : " in the compile directories") +
         ": vectorization verdicts are absent; build with -fsave-optimization-record");
  return true;
}

void Importer::joinRemarks() {
  // Records by (file name, line): the key both compilers and DWARF agree on.
  std::map<std::pair<std::string, std::uint32_t>, std::vector<int>> byLine;
  for (std::size_t r = 0; r < remarks_.loops.size(); ++r)
    byLine[{leaf(remarks_.loops[r].file), remarks_.loops[r].line}].push_back(static_cast<int>(r));
  const std::vector<std::string>& files = binary_->files();
  auto functionMatches = [&](const LoopRemark& remark, const Function& f) {
    return remark.function == f.name || remark.function == f.demangled || remark.function == withoutCloneSuffix(f.name) ||
           withoutCloneSuffix(f.demangled).rfind(remark.function + "(", 0) == 0;
  };
  for (Loop& loop : loops_) {
    const Function& f = functions_[loop.function];
    int best = -1;
    unsigned bestScore = 0, bestCount = 0;
    auto consider = [&](std::uint32_t file, std::uint32_t line, std::uint32_t column, unsigned count, bool exactLine) {
      auto it = byLine.find({leaf(files[file]), line});
      if (it == byLine.end()) return;
      for (int r : it->second) {
        const LoopRemark& remark = remarks_.loops[r];
        if (!endsWithPath(files[file], remark.file) || !functionMatches(remark, f)) continue;
        unsigned score = !exactLine ? 1 : remark.column == column ? 3 : 2;
        if (score > bestScore || (score == bestScore && count > bestCount)) best = r, bestScore = score, bestCount = count;
      }
    };
    // The branch of a back edge carries the loop's own position with both
    // compilers (gcc: the condition, clang: the `for`); other lines of the
    // body may carry a neighbour's, as induction variables shared between
    // loops do.
    for (std::uint64_t latch : loop.shape.latches) {
      SourcePosition p;
      if (binary_->position(latch, p) && p.line) consider(p.file, p.line, p.column, 1000, true);
    }
    for (const auto& [position, count] : loop.positions)
      consider(std::get<0>(position), std::get<1>(position), std::get<2>(position), count, true);
    // A record a little above the loop's first line: its header sits on a
    // line the code doesn't show (a `for` of a do-while shape).
    if (best < 0 && loop.located)
      for (std::uint32_t up = 1; up <= 3 && up < loop.first.line && best < 0; ++up)
        consider(loop.first.file, loop.first.line - up, 0, 0, false);
    loop.remark = best;
  }
  // Parts of one source loop never nest: an enclosing loop that met the
  // record through its nested loop's set-up code lets it go.
  for (Loop& loop : loops_) {
    if (loop.remark < 0) continue;
    for (int p = loop.parent; p >= 0; p = loops_[p].parent)
      if (loops_[p].remark == loop.remark) loops_[p].remark = -1;
  }
}

void Importer::makeSourceLoops() {
  std::map<std::pair<int, int>, int> byRemark;  // (function, remark) -> source loop
  for (std::size_t l = 0; l < loops_.size(); ++l) {
    Loop& loop = loops_[l];
    int source = -1;
    if (loop.remark >= 0) {
      auto [it, added] = byRemark.emplace(std::make_pair(loop.function, loop.remark), static_cast<int>(sources_.size()));
      if (!added) source = it->second;
    }
    if (source < 0) {
      source = static_cast<int>(sources_.size());
      SourceLoop s;
      s.remark = loop.remark;
      s.function = loop.function;
      s.all = &loops_;
      sources_.push_back(std::move(s));
    }
    sources_[source].parts.push_back(static_cast<int>(l));
    loop.source = source;
  }
  std::set<int> joined;
  for (SourceLoop& source : sources_) {
    if (source.remark >= 0) joined.insert(source.remark);
    if (source.parts.size() < 2) continue;
    // The vector body is the widest packed part. gcc and clang don't peel
    // for alignment on x86 (unaligned vector access costs little there), so
    // the other parts finish the iterations left over: a scalar loop, or a
    // narrower vector epilogue. Their place in the file says nothing: gcc
    // puts the epilogue before the body as often as after it.
    int body = -1, widest = 0;
    const bool vectorized = source.remark < 0 || remarks_.loops[source.remark].vectorized;
    for (int p : source.parts) {
      if (!vectorized) break;
      CodeFacts facts = codeFacts(loops_[p].own);
      if (facts.packed && facts.widestPacked > widest) body = p, widest = facts.widestPacked;
    }
    if (body >= 0) {
      for (int p : source.parts) loops_[p].part = p == body ? 128 : 64;
      continue;
    }
    // No vector body: an unrolled loop and the loop that finishes its
    // remaining iterations; the one with the most code is the unrolled one.
    int unrolled = source.parts.front();
    for (int p : source.parts)
      if (loops_[p].own.size() > loops_[unrolled].own.size()) unrolled = p;
    for (int p : source.parts) loops_[p].part = p == unrolled ? 0 : 64;
  }
  summary_.joinedRemarks = joined.size();
  for (std::size_t r = 0; r < remarks_.loops.size(); ++r) {
    const LoopRemark& remark = remarks_.loops[r];
    if (joined.count(static_cast<int>(r)) || remark.memRoutine) continue;
    // Loops the compiler unrolled away or whose function isn't in the binary
    // leave records behind; only analysed loops with a verdict are worth a line.
    if (remark.vectorized)
      warn(remark.file + ":" + std::to_string(remark.line) + ": the record of a vectorized loop in " + remark.function +
           " matches no loop of the machine code");
  }
  for (std::size_t s = 0; s < sources_.size(); ++s) {
    SourceLoop& source = sources_[s];
    int parentLoop = loops_[source.parts.front()].parent;
    source.parent = parentLoop < 0 ? -1 : loops_[parentLoop].source;
    if (source.parent == static_cast<int>(s)) source.parent = -1;
    if (source.parent >= 0) sources_[source.parent].children.push_back(static_cast<int>(s));
    else functions_[source.function].topSources.push_back(static_cast<int>(s));
  }
  summary_.loops = sources_.size();
}

int Importer::innermostLoop(int function, std::uint64_t address) const {
  int best = -1;
  for (int l : functions_[function].loops)
    if (loops_[l].shape.contains(address) && (best < 0 || loops_[l].shape.blocks.size() < loops_[best].shape.blocks.size()))
      best = l;
  return best;
}

std::vector<int> Importer::sourceChain(int loop) const {
  std::vector<int> chain;
  for (int s = loop < 0 ? -1 : loops_[loop].source; s >= 0; s = sources_[s].parent) chain.push_back(s);
  std::reverse(chain.begin(), chain.end());
  return chain;
}

int Importer::functionFor(const std::string& module, const std::string& symbol) {
  auto it = functionByKey_.find({leaf(module), symbol});
  if (it != functionByKey_.end()) return it->second;
  Function f;
  f.name = symbol;
  f.demangled = demangle(symbol);
  f.module = leaf(module);
  f.systemModule = module.empty() || module[0] == '[' || module.rfind("/lib", 0) == 0 || module.rfind("/usr/lib", 0) == 0 ||
                   module.rfind("/usr/local/lib", 0) == 0;
  const int index = static_cast<int>(functions_.size());
  functions_.push_back(std::move(f));
  functionByKey_.emplace(std::make_pair(leaf(module), symbol), index);
  return index;
}

int Importer::callChild(int parent, bool loop, int what) {
  std::vector<int>& siblings = parent < 0 ? callRoots_ : callNodes_[parent].children;
  for (int child : siblings)
    if (callNodes_[child].loop == loop && callNodes_[child].what == what) return child;
  callNodes_.push_back({loop, what, {}});
  int node = static_cast<int>(callNodes_.size() - 1);
  (parent < 0 ? callRoots_ : callNodes_[parent].children).push_back(node);
  return node;
}

// Frame-pointer unwinding skips the caller of a function that sets up no
// frame of its own (a small leaf keeps its return address only on the
// stack), so its time would go to the caller's caller. When the program
// calls that function from one place only, that place is the caller.
void Importer::restoreCaller(PerfSample& sample) const {
  if (sample.frames.empty() || !sameModule(sample.frames[0].module, binary_->path())) return;
  const ElfFunction* leafFunction = binary_->functionAt(sample.frames[0].address);
  if (!leafFunction) return;
  auto sites = callSites_.find(leafFunction->address);
  if (sites == callSites_.end() || sites->second.size() != 1) return;
  std::vector<std::uint8_t> start;
  if (!binary_->code(leafFunction->address, std::min<std::uint64_t>(leafFunction->size, 5), start)) return;
  const bool endbr = start.size() >= 4 && start[0] == 0xf3 && start[1] == 0x0f && start[2] == 0x1e && start[3] == 0xfa;
  const std::size_t first = endbr ? 4 : 0;
  const bool framed = start.size() > first && start[first] == 0x55;  // push rbp
  // A framed function sampled before its push has the same blind spot.
  if (framed && sample.frames[0].address > leafFunction->address + first) return;
  const std::uint64_t site = sites->second.front();
  const ElfFunction* caller = binary_->functionAt(site - 1);
  if (!caller) return;
  if (sample.frames.size() > 1 && sameModule(sample.frames[1].module, binary_->path()) &&
      binary_->functionAt(sample.frames[1].address - 1) == caller)
    return;
  PerfFrame frame;
  frame.address = site;
  frame.symbol = caller->name;
  frame.module = sample.frames[0].module;
  sample.frames.insert(sample.frames.begin() + 1, std::move(frame));
}

bool Importer::readSamples(std::string& error) {
  if (in_.perfScript.empty()) {
    warn("no perf samples given (--perf): self and total times are absent");
    return true;
  }
  if (!readPerfScript(in_.perfScript, perf_, error)) return false;
  summary_.samples = perf_.samples.size();
  for (const PerfMapping& map : perf_.mappings)
    if (std::find(modules_.begin(), modules_.end(), map.path) == modules_.end()) modules_.push_back(map.path);
  if (perf_.samples.empty()) {
    warn(in_.perfScript + ": no samples: times are absent");
    return true;
  }
  std::map<std::string, std::size_t> seen;
  std::size_t ours = 0;
  for (const PerfSample& sample : perf_.samples) {
    bool mine = false;
    for (const PerfFrame& frame : sample.frames) {
      ++seen[frame.module];
      mine |= sameModule(frame.module, binary_->path());
    }
    ours += mine;
  }
  if (ours == 0) {
    std::string most;
    std::size_t count = 0;
    for (const auto& [module, n] : seen)
      if (n > count && module.size() && module[0] != '[') most = module, count = n;
    error = in_.perfScript + ": the samples are of another program (" + (most.empty() ? "no user code" : most) +
            "), none falls in " + binary_->path();
    return false;
  }
  // perf names the function of each frame; a rebuilt binary of the same
  // name puts other code at those addresses.
  std::size_t named = 0, mismatched = 0;
  for (const PerfSample& sample : perf_.samples) {
    for (const PerfFrame& frame : sample.frames) {
      if (frame.symbol.empty() || !sameModule(frame.module, binary_->path())) continue;
      const ElfFunction* ef = binary_->functionAt(frame.address);
      ++named;
      mismatched += !ef || ef->name != frame.symbol;
    }
  }
  if (named && mismatched * 2 > named) {
    error = in_.perfScript + ": the samples are of another build of " + leaf(binary_->path()) + ": " +
            std::to_string(mismatched) + " of " + std::to_string(named) + " frames name other functions than the binary has there";
    return false;
  }
  double first = perf_.samples.front().time, last = first;
  for (PerfSample& sample : perf_.samples) {
    // Time in the kernel on the program's behalf (page faults, timer
    // interrupts) belongs to the instruction it interrupted, which is the
    // first frame in user space: no return address, so it stays as it is.
    std::size_t kernel = 0;
    while (kernel < sample.frames.size() && sample.frames[kernel].module.rfind("[kernel", 0) == 0) ++kernel;
    if (kernel && kernel < sample.frames.size()) sample.frames.erase(sample.frames.begin(), sample.frames.begin() + static_cast<std::ptrdiff_t>(kernel));
    restoreCaller(sample);
    const double seconds = static_cast<double>(sample.period) * 1e-9;
    cpu_ += seconds;
    threads_.insert(sample.tid);
    first = std::min(first, sample.time);
    last = std::max(last, sample.time);
    std::set<int> touchedLoops, touchedSources, touchedFunctions;
    int node = -1;
    for (std::size_t i = sample.frames.size(); i-- > 0;) {
      const PerfFrame& frame = sample.frames[i];
      // A caller's frame holds the return address: the call is the byte before.
      const std::uint64_t address = i == 0 ? frame.address : frame.address - 1;
      int function = -1, loop = -1;
      if (sameModule(frame.module, binary_->path())) {
        const ElfFunction* ef = binary_->functionAt(address);
        if (!ef) continue;
        function = programFunction(ef);
        loop = innermostLoop(function, address);
      } else {
        if (frame.symbol.empty()) continue;
        function = functionFor(frame.module, frame.symbol);
      }
      touchedFunctions.insert(function);
      node = callChild(node, false, function);
      for (int s : sourceChain(loop)) {
        touchedSources.insert(s);
        node = callChild(node, true, s);
      }
      for (int l = loop; l >= 0; l = loops_[l].parent) touchedLoops.insert(l);
      if (i == 0) {
        if (loop >= 0) {
          loops_[loop].self += seconds;
          sources_[loops_[loop].source].self += seconds;
        } else {
          functions_[function].self += seconds;
        }
      }
    }
    for (int l : touchedLoops) loops_[l].total += seconds;
    for (int s : touchedSources) sources_[s].total += seconds;
    for (int f : touchedFunctions) functions_[f].total += seconds;
  }
  elapsed_ = last > first ? last - first : cpu_;
  if (threads_.size() > 1 && elapsed_ < cpu_ / static_cast<double>(threads_.size())) elapsed_ = cpu_ / static_cast<double>(threads_.size());
  return true;
}

void Importer::readCounts() {
  if (in_.callgrind.empty()) {
    warn("no callgrind run given (--callgrind): trip counts, dynamic mixes and roofline positions are absent");
    return;
  }
  CallgrindProfile profile;
  std::string error;
  if (!readCallgrind(in_.callgrind, profile, error)) {
    warn(error + "; trip counts are absent");
    return;
  }
  const CallgrindObject* object = nullptr;
  for (const CallgrindObject& o : profile.objects)
    if (sameModule(o.path, binary_->path())) object = &o;
  if (!object) {
    warn(in_.callgrind + ": the callgrind run has no counts for " + binary_->path() + "; trip counts are absent");
    return;
  }
  // Valgrind loads a position-independent program at an address of its own
  // choosing; the shift that puts the most counted addresses inside the
  // program's functions is the load address.
  std::int64_t shift = 0;
  {
    std::size_t bestHits = 0;
    for (std::int64_t candidate : {0x0LL, 0x108000LL, 0x400000LL, 0x4000000LL, 0x555555554000LL}) {
      std::size_t hits = 0, seen = 0;
      for (const auto& [address, count] : object->executions) {
        if (++seen > 2000) break;
        hits += binary_->functionAt(address - static_cast<std::uint64_t>(candidate)) != nullptr;
      }
      if (hits > bestHits) bestHits = hits, shift = candidate;
    }
  }
  auto executions = [&](std::uint64_t address) -> std::uint64_t {
    auto it = object->executions.find(address + static_cast<std::uint64_t>(shift));
    return it == object->executions.end() ? 0 : it->second;
  };
  counts_.assign(loops_.size(), {});
  for (std::size_t l = 0; l < loops_.size(); ++l) {
    Counts& c = counts_[l];
    c.headerRuns = executions(loops_[l].shape.header);
    AssemblerLines one;
    for (const AssemblerLine* line : loops_[l].own) {
      std::uint64_t n = executions(line->address());
      if (!n) continue;
      one.clear();
      one.push_back(*line);
      for (const auto& [column, count] : one.getInstructionMix()) c.mix[column] += count * n;
      Work w = workOf(*line);
      c.work.flops += w.flops * n;
      c.work.intops += w.intops * n;
      c.work.bytes += w.bytes * n;
    }
    flops_ += c.work.flops;
    intops_ += c.work.intops;
    c.present = c.headerRuns > 0 || !c.mix.empty();
  }
  // Times the back edges ran: a latch that branches to the header counts
  // its taken jumps; one that falls through into the header (a rotated loop
  // entered in its middle) counts the times it didn't jump.
  std::unordered_map<std::uint64_t, const CallgrindJump*> jumps;
  for (const CallgrindJump& jump : object->jumps) jumps[jump.from - static_cast<std::uint64_t>(shift)] = &jump;
  for (std::size_t l = 0; l < loops_.size(); ++l) {
    for (std::uint64_t latch : loops_[l].shape.latches) {
      auto it = jumps.find(latch);
      if (it == jumps.end()) counts_[l].backEdges += executions(latch);
      else if (it->second->to - static_cast<std::uint64_t>(shift) == loops_[l].shape.header) counts_[l].backEdges += it->second->taken;
      else counts_[l].backEdges += it->second->executed - std::min(it->second->executed, it->second->taken);
    }
  }
  haveCounts_ = true;
}

bool Importer::readRoofs(std::string& error) {
  if (in_.roofs.empty()) {
    warn("no roofs given (--roofs): the roofline uses no measured roofs; run nimbex-roofs");
    return true;
  }
  simdjson::dom::parser parser;
  simdjson::dom::element document;
  if (parser.load(in_.roofs).get(document)) {
    error = in_.roofs + ": not a readable JSON file";
    return false;
  }
  simdjson::dom::array roofs;
  if (document["roofs"].get_array().get(roofs)) {
    error = in_.roofs + ": /roofs: expected an array of roofs";
    return false;
  }
  std::size_t i = 0;
  for (simdjson::dom::element roof : roofs) {
    std::string_view name;
    std::uint64_t value = 0, second = 0;
    if (roof["name"].get_string().get(name) || roof["value"].get_uint64().get(value)) {
      error = in_.roofs + ": /roofs/" + std::to_string(i) + ": expected a name and an unsigned value";
      return false;
    }
    if (roof["secondWord"].get_uint64().get(second)) second = 0;
    Json item;
    item.text("name", std::string(name));
    item.integer("value", static_cast<long long>(value));
    if (second) item.integer("secondWord", static_cast<long long>(second));
    roofsJson_ += (roofsJson_.empty() ? "    {" : ",\n    {") + item.out + "}";
    ++i;
  }
  return true;
}

std::string Importer::moduleOf(const std::string& symbol) {
  for (const std::string& module : modules_) {
    if (sameModule(module, binary_->path()) || module.empty() || module[0] == '[') continue;
    auto& library = libraries_[module];
    if (!library) library = ElfBinary::openSymbolsOnly(module);
    if (library && library->exports(symbol)) return module;
  }
  return "";
}

std::vector<int> Importer::calleesOf(int source) {
  std::vector<int> callees;
  static const class_mask_t call = classMask({IC::Call});
  for (int part : sources_[source].parts) {
    for (const AssemblerLine* line : loops_[part].own) {
      if (!line->hasType(call) || !line->hasTarget()) continue;
      const std::uint64_t target = line->targetAddress();
      int function = -1;
      auto import = binary_->importedTargets().find(target);
      if (import != binary_->importedTargets().end()) {
        std::string name = import->second;
        if (auto at = name.find('@'); at != std::string::npos) name.resize(at);
        function = functionFor(moduleOf(name), name);
      } else if (line->operandCount() && line->operand(0).hasKind(assembler_analysis::KindRelative)) {
        const ElfFunction* ef = binary_->functionAt(target);
        if (!ef || ef->address != target) continue;
        function = programFunction(ef);
      }
      if (function >= 0 && std::find(callees.begin(), callees.end(), function) == callees.end()) callees.push_back(function);
    }
  }
  return callees;
}

void Importer::functionFields(Json& fields, const Function& f) {
  fields.text("FunctionName", f.demangled);
  if (f.name != f.demangled) fields.text("MangledName", f.name);
  if (!f.module.empty()) fields.text("ModuleName", f.module);
  // The program's own shared libraries are user code too.
  fields.integer("IsSystemFunction", f.elf < 0 && f.systemModule ? 1 : 0);
  fields.integer("Field24", f.name.rfind("_ZGV", 0) == 0 ? 1 : 0);
}

void Importer::loopFields(Row& row, const SourceLoop& source) {
  const Loop& body = loops_[source.body()];
  const Function& f = functions_[source.function];
  Json& fields = row.fields;
  const LoopRemark* remark = source.remark >= 0 ? &remarks_.loops[source.remark] : nullptr;
  std::string file = body.located ? binary_->files()[body.first.file] : "";
  std::uint32_t line = body.located ? body.first.line : 0;
  if (remark) {
    line = remark->line;
    for (const auto& [position, count] : body.positions)
      if (std::get<1>(position) == remark->line && endsWithPath(binary_->files()[std::get<0>(position)], remark->file))
        file = binary_->files()[std::get<0>(position)];
  }
  if (line) fields.typed("3", "i32", line);
  if (!file.empty()) fields.text("SourceFile", file);
  fields.text("FunctionName", f.demangled);
  fields.text("Field231", f.demangled);
  if (!file.empty()) fields.text("Field232", file);
  fields.integer("Field22", binary_->codeBits() == 32 ? 1 : 2);
  if (body.located && body.first.unit < binary_->units().size()) {
    const CompilerFacts& compiler = binary_->units()[body.first.unit].compiler;
    if (!compiler.name.empty()) fields.text("CompilerName", compiler.name);
    if (!compiler.version.empty()) fields.text("CompilerVersion", compiler.version);
    if (!compiler.flags.empty()) fields.text("CompilerFlags", compiler.flags);
  }
  CodeFacts facts = codeFacts(body.whole);
  if (facts.isaLevel)
    fields.text("Isa", system_info::SystemInfo::getIsaAbbreviationAsString(
                           static_cast<system_info::SystemInfo::IsaExtensions>(facts.isaLevel)));
  std::string sets = instructionSets(facts);
  if (!sets.empty()) fields.text("InstructionSets", sets);
  std::string element = remark && !remark->elementType.empty() ? remark->elementType : facts.elementType;
  auto [typeName, vectType] = dataType(element);
  if (!typeName.empty()) fields.text("DataTypeName", typeName);
  if (vectType && facts.packed) fields.typed("MainVectType", "i32", static_cast<unsigned>(vectType));
  if (remark) {
    fields.boolean("IsVectorized", remark->vectorized);
    if (remark->vectorized && !remark->vectorLengths.empty()) {
      std::string lengths;
      for (unsigned length : remark->vectorLengths) lengths += (lengths.empty() ? "" : ";") + std::to_string(length);
      fields.text("VectorLengths", lengths);
    }
    unsigned unroll = remark->unroll ? remark->unroll : remark->interleave;
    if (unroll) fields.typed("UnrollFactor", "i32", unroll);
    std::string message = remark->reason;
    if (message.empty() && remark->vectorized) message = "loop vectorized";
    if (!message.empty()) fields.text("VectorizationMessage", message);
    int diagnostic = remark->diagnostic;
    // No record says it, but the nesting does: an outer loop left scalar
    // around a vectorized inner loop is the case our outer-loop number names,
    // and the advice for it (vectorize the outer loop explicitly) fits better
    // than a generic reason such as "multiple nested loops".
    if (!remark->vectorized) {
      for (int child : source.children) {
        const int childRemark = sources_[child].remark;
        if (childRemark >= 0 && remarks_.loops[childRemark].vectorized) diagnostic = kInnerLoopVectorizedDiagnostic;
      }
    }
    if (diagnostic >= 0) fields.typed("VectorizationDiagnosticId", "i32", static_cast<unsigned>(diagnostic));
  }
  std::string bytes = bytesText(body.whole, *binary_);
  if (!bytes.empty()) {
    row.extra.raw("machineCode", "{ \"address\": " + hexAddress(body.whole.front()->address()) + ", \"bytes\": \"" + bytes + "\" }");
    AssemblerLines lines;
    for (const AssemblerLine* l : body.whole) lines.push_back(*l);
    assembler_analysis::InstructionMix mix = lines.getInstructionMix();
    assembler_analysis::InstructionMix summary{{1, mix[1]}, {5, mix[5]}, {9, mix[9]}, {45, mix[45]}};
    Json mixes;
    mixes.raw("summary", mixJson(summary));
    mixes.raw("static", mixJson(mix));
    if (haveCounts_) {
      assembler_analysis::InstructionMix dynamic;
      for (int p : source.parts)
        for (const auto& [column, count] : counts_[p].mix) dynamic[column] += count;
      if (!dynamic.empty()) mixes.raw("dynamic", mixJson(dynamic));
    }
    row.extra.raw("instructionMix", "{" + mixes.out + "}");
  }
}

std::string Importer::write() {
  std::vector<Row> bottomUp, callTree;
  std::uint64_t nextIndex = 1;
  // Which functions get a bottom-up row: the program's functions with loops
  // or samples, and every other function that samples or loops name.
  std::vector<std::vector<int>> callees(sources_.size());
  for (std::size_t s = 0; s < sources_.size(); ++s) callees[s] = calleesOf(static_cast<int>(s));
  for (Function& f : functions_) f.inBottomUp = !f.loops.empty() || f.total > 0;
  for (const std::vector<int>& list : callees)
    for (int c : list) functions_[c].inBottomUp = true;
  for (Function& f : functions_)
    if (f.inBottomUp) f.index = nextIndex++;
  for (SourceLoop& s : sources_) s.index = nextIndex++;

  // Bottom-up: functions, their loops, and the parts of split loops.
  std::uint64_t nextId = 1;
  std::function<std::uint64_t(int)> emitLoop = [&](int s) -> std::uint64_t {
    const SourceLoop& source = sources_[s];
    const std::size_t at = bottomUp.size();
    bottomUp.emplace_back();
    bottomUp[at].id = nextId++;
    // Only a vectorized loop is shown in parts: an unrolled scalar loop and
    // the loop that finishes it are one loop to the user.
    const bool split = source.parts.size() > 1 && loops_[source.body()].part == 128;
    const LoopRemark* remark = source.remark >= 0 ? &remarks_.loops[source.remark] : nullptr;
    const bool vectorized = remark && remark->vectorized;
    const bool innermost = source.children.empty();
    std::uint64_t type = 4 | (innermost ? 16 : 0) | (split ? 8 : 0) | (vectorized ? 256 : 0);
    bottomUp[at].type = type;
    loopFields(bottomUp[at], source);
    Json& fields = bottomUp[at].fields;
    if (perf_.samples.size()) {
      fields.real("SelfTime", source.self);
      fields.real("TotalTime", source.total);
    }
    fields.integer("FuncInstIdx", static_cast<long long>(source.index));
    std::uint64_t nested = 0;
    std::function<void(int)> count = [&](int c) {
      ++nested;
      for (int g : sources_[c].children) count(g);
    };
    for (int c : source.children) count(c);
    fields.typed("InnerLoopCount", "u64", nested);
    auto tripCounts = [&](Json& extra, Json& f, int loop) {
      if (!haveCounts_ || !counts_[loop].present || !counts_[loop].headerRuns) return;
      const Counts& c = counts_[loop];
      std::uint64_t entries = c.headerRuns > c.backEdges ? c.headerRuns - c.backEdges : 1;
      std::uint64_t average = (c.headerRuns + entries / 2) / entries;
      extra.raw("sourceTripCounts", "{ \"TripCountAverage\": { \"value\": " + std::to_string(average) +
                                        " }, \"CallCount\": { \"value\": " + std::to_string(entries) + " } }");
      f.typed("IterationCount", "u64", c.headerRuns);
      f.boolean("TripCountsValid", true);
    };
    tripCounts(bottomUp[at].extra, fields, source.body());
    if (haveCounts_) {
      Work work;
      for (int p : source.parts) {
        work.flops += counts_[p].work.flops;
        work.intops += counts_[p].work.intops;
        work.bytes += counts_[p].work.bytes;
      }
      if (work.bytes || work.flops || work.intops) {
        // A loop with any floating-point work is placed by its FLOPs, on the
        // floating-point roofs; the integer work beside it (addresses,
        // counters) is bookkeeping. The guidance knows no mixed kind.
        const bool floating = work.flops > 0;
        bottomUp[at].extra.raw("roofline", "{ \"operations\": " + std::to_string(floating ? work.flops : work.intops) +
                                               ", \"bytes\": " + std::to_string(work.bytes) +
                                               ", \"opsType\": " + std::string(floating ? "0" : "1") + " }");
      }
    }
    std::vector<std::uint64_t> children;
    for (int c : source.children) children.push_back(emitLoop(c));
    if (split) {
      for (int p : source.parts) {
        Row part;
        part.id = nextId++;
        part.type = 4 | (innermost ? 16 : 0) | static_cast<std::uint64_t>(loops_[p].part) |
                    (vectorized && loops_[p].part == 128 ? 256 : 0);
        if (perf_.samples.size()) {
          part.fields.real("SelfTime", loops_[p].self);
          part.fields.real("TotalTime", loops_[p].total);
        }
        part.fields.integer("FuncInstIdx", static_cast<long long>(source.index));
        tripCounts(part.extra, part.fields, p);
        children.push_back(part.id);
        bottomUp.push_back(std::move(part));
      }
    }
    bottomUp[at].children = std::move(children);
    return bottomUp[at].id;
  };
  for (const Function& f : functions_) {
    if (!f.inBottomUp) continue;
    const std::size_t at = bottomUp.size();
    bottomUp.emplace_back();
    bottomUp[at].id = nextId++;
    bottomUp[at].type = f.elf < 0 && f.systemModule ? 2 : 0;
    Json& fields = bottomUp[at].fields;
    functionFields(fields, f);
    if (perf_.samples.size()) {
      fields.real("SelfTime", f.self);
      fields.real("TotalTime", f.total);
    }
    fields.integer("FuncInstIdx", static_cast<long long>(f.index));
    std::vector<std::uint64_t> children;
    for (int s : f.topSources) children.push_back(emitLoop(s));
    bottomUp[at].children = std::move(children);
  }

  // Call tree: the sampled paths, every loop's static callees, and a root
  // for each function with loops that no sample reached, so that each
  // bottom-up loop has a place in it.
  std::vector<std::vector<int>> nodesOf(functions_.size());
  for (std::size_t n = 0; n < callNodes_.size(); ++n)
    if (!callNodes_[n].loop) nodesOf[callNodes_[n].what].push_back(static_cast<int>(n));
  std::function<void(int, int)> addLoops = [&](int parent, int s) {
    int child = callChild(parent, true, s);
    for (int c : sources_[s].children) addLoops(child, c);
  };
  for (std::size_t f = 0; f < functions_.size(); ++f) {
    if (functions_[f].loops.empty()) continue;
    if (nodesOf[f].empty()) nodesOf[f].push_back(callChild(-1, false, static_cast<int>(f)));
    // Loops no sample reached still belong under each place the function
    // was seen, so that every loop has its call-tree rows.
    for (int node : nodesOf[f])
      for (int s : functions_[f].topSources) addLoops(node, s);
  }
  for (std::size_t n = 0; n < callNodes_.size(); ++n) {
    if (!callNodes_[n].loop) continue;
    for (int callee : callees[callNodes_[n].what]) callChild(static_cast<int>(n), false, callee);
  }
  std::function<std::uint64_t(int)> emitCall = [&](int n) -> std::uint64_t {
    const CallNode node = callNodes_[n];
    const std::size_t at = callTree.size();
    callTree.emplace_back();
    callTree[at].id = static_cast<std::uint64_t>(at + 1);
    if (node.loop) {
      const SourceLoop& source = sources_[node.what];
      callTree[at].type = 4 | (source.children.empty() ? 16 : 0);
      callTree[at].fields.integer("FuncInstIdx", static_cast<long long>(source.index));
    } else {
      Function& f = functions_[node.what];
      if (!f.index) f.index = nextIndex++;
      functionFields(callTree[at].fields, f);
      callTree[at].fields.integer("FuncInstIdx", static_cast<long long>(f.index));
    }
    std::vector<std::uint64_t> children;
    for (int c : node.children) children.push_back(emitCall(c));
    callTree[at].children = std::move(children);
    return callTree[at].id;
  };
  for (int root : callRoots_) emitCall(root);

  // Names of call targets the decoder can't see: PLT stubs and slots, and
  // the program's functions that loops call.
  std::map<std::uint64_t, std::string> symbols = binary_->importedTargets();
  for (const std::vector<int>& list : callees)
    for (int c : list)
      if (functions_[c].elf >= 0) symbols.emplace(binary_->functions()[functions_[c].elf].address, functions_[c].name);

  std::string out = "{\n  \"format\": \"nimbex-result\",\n  \"version\": 1,\n";
  {
    using SI = system_info::SystemInfo;
    SI::IsaExtensions level = SI::detectIsaExtensions();
    out += "  \"machine\": { \"isaExtensions\": " + std::to_string(static_cast<int>(level)) +
           ", \"maxVectorLength\": " + std::to_string(SI::getVectorLengthOfLevel(level)) +
           ", \"codeBits\": " + std::to_string(binary_->codeBits()) + " },\n";
  }
  out += std::string("  \"collected\": [\"survey\"") + (haveCounts_ ? ", \"tripCounts\", \"roofline\"" : "") + "],\n";
  if (!roofsJson_.empty()) out += "  \"roofs\": [\n" + roofsJson_ + "\n  ],\n";
  {
    Json locators;
    std::string modules = "[";
    std::vector<std::string> paths{binary_->path()};
    for (const std::string& m : modules_)
      if (!m.empty() && m[0] != '[' && !sameModule(m, binary_->path())) paths.push_back(m);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      modules += i ? ", {\"path\": " : "{\"path\": ";
      foundation::append_json_string(modules, paths[i]);
      modules += "}";
    }
    locators.raw("modules", modules + "]");
    std::string sources = "[";
    std::set<std::string> seen;
    for (const CompileUnit& unit : binary_->units()) {
      if (unit.name.empty() || !seen.insert(unit.name).second) continue;
      sources += seen.size() > 1 ? ", {\"path\": " : "{\"path\": ";
      foundation::append_json_string(sources, unit.name);
      sources += "}";
    }
    locators.raw("sources", sources + "]");
    std::string libraries;
    for (const std::string& m : modules_) {
      if (!isCLibrary(m)) continue;
      libraries += libraries.empty() ? "{\"path\": " : ", {\"path\": ";
      foundation::append_json_string(libraries, m);
      std::string version = cLibraryVersion(m);
      if (!version.empty()) {
        libraries += ", \"version\": ";
        foundation::append_json_string(libraries, version);
      }
      libraries += "}";
    }
    if (!libraries.empty()) locators.raw("cLibrary", "[" + libraries + "]");
    out += "  \"fileLocators\": {" + locators.out + "},\n";
  }
  if (perf_.samples.size()) {
    Json session, metrics;
    session.real("totalElapsedTime", elapsed_);
    out += "  \"session\": {" + session.out + "},\n";
    metrics.real("elapsedTime", elapsed_);
    metrics.real("cpuTime", cpu_);
    if (haveCounts_ && elapsed_ > 0) {
      metrics.real("gflops", static_cast<double>(flops_) / elapsed_ * 1e-9);
      metrics.real("gintops", static_cast<double>(intops_) / elapsed_ * 1e-9);
    }
    metrics.integer("threadCount", static_cast<long long>(threads_.size()));
    out += "  \"programMetrics\": {" + metrics.out + "},\n";
  }
  if (!symbols.empty()) {
    std::string list;
    for (const auto& [address, name] : symbols) {
      list += list.empty() ? "\n    { \"address\": " : ",\n    { \"address\": ";
      list += hexAddress(address) + ", \"name\": ";
      foundation::append_json_string(list, name);
      list += " }";
    }
    std::string module;
    foundation::append_json_string(module, leaf(binary_->path()));
    out += "  \"symbols\": { " + module + ": [" + list + " ] },\n";
  }
  out += "  \"bottomUp\": " + rowsJson(bottomUp) + ",\n";
  out += "  \"callTree\": " + rowsJson(callTree) + "\n}\n";
  summary_.functions = 0;
  for (const Function& f : functions_) summary_.functions += f.inBottomUp && f.elf >= 0;
  return out;
}

bool Importer::run(std::string& text, std::string& error) {
  std::error_code failure;
  const fs::path binaryPath = fs::exists(in_.binary, failure) ? fs::canonical(in_.binary, failure) : fs::path(in_.binary);
  binary_ = ElfBinary::open(failure ? in_.binary : binaryPath.string(), error);
  if (!binary_) return false;
  decode();
  if (!readRemarks(error)) return false;
  joinRemarks();
  makeSourceLoops();
  if (!readSamples(error)) return false;
  readCounts();
  if (!readRoofs(error)) return false;
  text = write();
  return true;
}

}  // namespace

bool importProgramText(const ImportInputs& inputs, ImportSummary& summary, std::string& text, std::string& error) {
  Importer importer(inputs, summary);
  return importer.run(text, error);
}

bool importProgram(const ImportInputs& inputs, ImportSummary& summary, std::string& error) {
  std::string text;
  if (!importProgramText(inputs, summary, text, error)) return false;
  std::error_code failure;
  fs::create_directories(inputs.outDir, failure);
  if (failure) {
    error = inputs.outDir + ": cannot create the result directory: " + failure.message();
    return false;
  }
  return foundation::write_file_atomically((fs::path(inputs.outDir) / "result.json").string(), text, error);
}

}  // namespace nimbex::importer
