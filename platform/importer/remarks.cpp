#include "platform/importer/remarks.h"

#include <yaml.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <simdjson.h>
#include <string_view>
#include <unordered_map>

namespace nimbex::importer {
namespace {

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }
bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

// Compiler texts carry statements on their own lines; a user reads one line.
std::string oneLine(std::string_view text) {
  text = trim(text);
  std::string line;
  line.reserve(text.size());
  bool space = false;
  for (char c : text) {
    if (c == '\n' || c == '\r' || c == '\t') {
      space = true;
      continue;
    }
    if (space && !line.empty() && line.back() != ' ' && c != ' ') line += ' ';
    space = false;
    line += c;
  }
  return line;
}

unsigned toUnsigned(std::string_view text) {
  unsigned value = 0;
  text = trim(text);
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

/// The loops already read, by identity, so that every record about a loop
/// lands in one entry whichever file or pass it came from.
class RemarkIndex {
 public:
  explicit RemarkIndex(RemarkSet& set) : set_(set) {
    for (size_t i = 0; i < set.loops.size(); ++i) {
      const LoopRemark& l = set.loops[i];
      index_.emplace(key(l.compiler, l.file, l.line, l.column, l.function), i);
    }
  }

  size_t at(std::string_view compiler, std::string_view file, unsigned line, unsigned column,
            std::string_view function) {
    auto [it, added] = index_.emplace(key(compiler, file, line, column, function), set_.loops.size());
    if (added) {
      LoopRemark& l = set_.loops.emplace_back();
      l.compiler = compiler;
      l.file = file;
      l.line = line;
      l.column = column;
      l.function = function;
    }
    return it->second;
  }
  LoopRemark& operator[](size_t i) { return set_.loops[i]; }

 private:
  static std::string key(std::string_view compiler, std::string_view file, unsigned line, unsigned column,
                         std::string_view function) {
    std::string k;
    k.reserve(compiler.size() + file.size() + function.size() + 24);
    k.append(compiler).append(1, '\0').append(file).append(1, '\0');
    k.append(std::to_string(line)).append(1, ':').append(std::to_string(column)).append(1, '\0').append(function);
    return k;
  }

  RemarkSet& set_;
  std::unordered_map<std::string, size_t> index_;
};

void notePass(LoopRemark& loop, std::string_view pass) {
  if (std::find(loop.passes.begin(), loop.passes.end(), pass) == loop.passes.end()) loop.passes.emplace_back(pass);
}

// ---------------------------------------------------------------------------
// gcc: -fsave-optimization-record writes a gzipped JSON array
// [ {generator}, [pass tree], [records] ]. A record looks like
//   {"kind": "failure", "location": {"file": "k.c", "line": 8, "column": 21},
//    "pass": "0x31fde0c0", "message": ["couldn't vectorize loop\n"],
//    "function": "with_call", "children": [ ...nested records... ]}
// and the vectorizer's records about one loop come between two
// "Analyzing loop at k.c:8" notes: first the analysis (scopes whose children
// hold the failures, often placed on the statement rather than the loop),
// then the verdict on the loop's own location: "loop vectorized using 32 byte
// vectors" (a second one is the vectorized epilogue) or "couldn't vectorize
// loop".

bool readGzip(const std::string& path, std::string& out, std::string& error) {
  gzFile file = gzopen(path.c_str(), "rb");
  if (!file) {
    error = path + ": cannot open: " + std::strerror(errno ? errno : ENOENT);
    return false;
  }
  gzbuffer(file, 1 << 17);
  out.clear();
  char buffer[1 << 16];
  for (;;) {
    int n = gzread(file, buffer, sizeof buffer);
    if (n < 0) {
      int code = 0;
      error = path + ": damaged compressed data at byte " + std::to_string(out.size()) + ": " + gzerror(file, &code);
      gzclose(file);
      return false;
    }
    if (n == 0) break;
    out.append(buffer, static_cast<size_t>(n));
  }
  gzclose(file);
  return true;
}

bool gccPassMatters(std::string_view pass) {
  return pass == "vect" || pass == "ldist" || pass == "loop2_unroll" || pass == "cunroll" || pass == "cunrolli";
}

struct GccRecord {
  std::string_view kind;
  std::string_view pass;  // resolved name; empty when unknown
  std::string text;       // flattened message, only for the passes that matter
  std::string file;
  unsigned line = 0, column = 0;
  std::string function;
  unsigned depth = 0;
  bool located = false;
};

using simdjson::ondemand::array;
using simdjson::ondemand::object;
using simdjson::ondemand::value;

void collectPasses(array passes, std::unordered_map<std::string, std::string>& names) {
  for (auto item : passes) {
    object pass;
    if (item.get_object().get(pass)) continue;
    std::string id, name;
    for (auto field : pass) {
      std::string_view key;
      if (field.unescaped_key().get(key)) continue;
      std::string_view text;
      array children;
      if (key == "id" && !field.value().get_string().get(text)) id = text;
      else if (key == "name" && !field.value().get_string().get(text)) name = text;
      else if (key == "children" && !field.value().get_array().get(children)) collectPasses(children, names);
    }
    if (!id.empty()) names[id] = name;
  }
}

// Message parts are strings or objects naming a statement, an expression or
// a symbol (each possibly with its own location, which a reader does not need).
std::string flattenMessage(array parts) {
  std::string text;
  for (auto part : parts) {
    std::string_view s;
    if (!part.get_string().get(s)) {
      text += s;
      continue;
    }
    object o;
    if (part.get_object().get(o)) continue;
    for (auto field : o) {
      std::string_view key;
      if (field.unescaped_key().get(key) || key == "location") continue;
      if (!field.value().get_string().get(s)) text += s;
    }
  }
  return text;
}

simdjson::error_code parseGccRecord(object record, unsigned depth, const std::unordered_map<std::string, std::string>& passes,
                                    std::vector<GccRecord>& out) {
  size_t self = out.size();
  out.emplace_back().depth = depth;
  for (auto field : record) {
    std::string_view key;
    if (auto e = field.unescaped_key().get(key)) return e;
    value v;
    if (auto e = field.value().get(v)) return e;
    if (key == "kind") {
      std::string_view kind;
      if (auto e = v.get_string().get(kind)) return e;
      // Views into the document stay valid while it lives; these few words
      // are kept as the fixed strings they always are.
      out[self].kind = kind == "success" ? "success" : kind == "failure" ? "failure" : kind == "note" ? "note" : "scope";
    } else if (key == "pass") {
      std::string_view id;
      if (auto e = v.get_string().get(id)) return e;
      auto it = passes.find(std::string(id));
      if (it != passes.end()) out[self].pass = it->second;
    } else if (key == "message") {
      if (!gccPassMatters(out[self].pass)) continue;
      array parts;
      if (auto e = v.get_array().get(parts)) return e;
      out[self].text = flattenMessage(parts);
    } else if (key == "location") {
      object where;
      if (auto e = v.get_object().get(where)) return e;
      for (auto part : where) {
        std::string_view name;
        if (auto e = part.unescaped_key().get(name)) return e;
        if (name == "file") {
          std::string_view file;
          if (auto e = part.value().get_string().get(file)) return e;
          out[self].file = file;
        } else if (name == "line" || name == "column") {
          uint64_t number = 0;
          if (auto e = part.value().get_uint64().get(number)) return e;
          (name == "line" ? out[self].line : out[self].column) = static_cast<unsigned>(number);
        }
      }
      out[self].located = true;
    } else if (key == "function") {
      std::string_view function;
      if (auto e = v.get_string().get(function)) return e;
      out[self].function = function;
    } else if (key == "children") {
      array children;
      if (auto e = v.get_array().get(children)) return e;
      for (auto child : children) {
        object o;
        if (auto e = child.get_object().get(o)) return e;
        if (auto e = parseGccRecord(o, depth + 1, passes, out)) return e;
      }
    }
  }
  return simdjson::SUCCESS;
}

// gcc's "not vectorized: no vectype for stmt: _5 = *_4;" becomes
// "no vectype for stmt": the reason without the statement it was found at.
std::string gccReasonKey(std::string_view text) {
  text = trim(text);
  if (startsWith(text, "not vectorized: ")) text.remove_prefix(16);
  text = text.substr(0, text.find(':'));
  text = trim(text);
  while (!text.empty() && text.back() == '.') text.remove_suffix(1);
  return std::string(text);
}

unsigned gccElementSize(std::string_view type) {
  if (startsWith(type, "const ")) type.remove_prefix(6);
  if (endsWith(type, "char")) return 1;
  if (type == "short int" || type == "short unsigned int" || type == "_Float16") return 2;
  if (type == "int" || type == "unsigned int" || type == "float") return 4;
  if (type == "long int" || type == "long unsigned int" || type == "double" || type == "long long int" ||
      type == "long long unsigned int")
    return 8;
  return 0;
}

/// The vectorizer's account of the loop being analysed, until its verdict.
struct GccAnalysis {
  struct Failure {
    std::string text;
    bool topLevel;
  };
  std::vector<Failure> failures;
  std::unordered_map<std::string, unsigned> elementTypes;  // "vectype:" notes per type
  unsigned minElementSize = 0;
  unsigned firstFactor = 0;
  bool epilogueRequired = false, epilogueVectorized = false;
  long verdictLoop = -1;  // the loop the verdict went to; later notes are about it
};

class GccReader {
 public:
  GccReader(RemarkSet& set) : index_(set) {}

  void handle(const GccRecord& r) {
    if (r.pass == "vect") return vectorizer(r);
    if (!r.located || r.depth != 0 || r.kind != "success") return;
    if (r.pass == "ldist") {
      if (r.text.find("library call") == std::string::npos) return;
      LoopRemark& l = loopAt(r);
      l.memRoutine = true;
      if (!l.vectorized) {
        l.reason = oneLine(r.text);
        l.reasonKey = "library call";
        l.diagnostic = diagnosticForReason("gcc", l.reasonKey);
      }
      return;
    }
    // Unroll passes. "loop unrolled 7 times" leaves eight copies of the body.
    unsigned times = 0;
    if (startsWith(r.text, "loop unrolled ")) {
      times = toUnsigned(std::string_view(r.text).substr(14)) + 1;
    } else if (startsWith(r.text, "loop with ") && r.text.find("completely unrolled") != std::string::npos) {
      times = toUnsigned(std::string_view(r.text).substr(10));
      // After vectorization this is the remainder being flattened, not the loop.
      if (loopAt(r).vectorized) return;
    } else {
      return;
    }
    LoopRemark& l = loopAt(r);
    notePass(l, r.pass);
    if (l.unroll == 0) l.unroll = times;
  }

 private:
  LoopRemark& loopAt(const GccRecord& r) { return index_[index_.at("gcc", r.file, r.line, r.column, r.function)]; }

  void vectorizer(const GccRecord& r) {
    std::string_view text = r.text;
    if (r.depth == 0 && r.kind == "note" && text.find("Analyzing loop at ") != std::string_view::npos) {
      analysis_ = GccAnalysis();
      return;
    }
    if (r.kind == "failure") {
      if (r.depth == 0 && startsWith(trim(text), "couldn't vectorize loop")) {
        if (r.located) verdict(r, false, 0);
        if (text.find("Analyzing loop at ") != std::string_view::npos) analysis_ = GccAnalysis();
      } else if (!trim(text).empty()) {
        analysis_.failures.push_back({oneLine(text), r.depth == 0});
      }
      return;
    }
    if (r.kind == "success" && r.depth == 0 && startsWith(text, "loop vectorized using ")) {
      if (r.located) verdict(r, true, toUnsigned(text.substr(22)));
      return;
    }
    if (r.kind != "note") return;
    if (startsWith(text, "epilog loop required")) {
      analysis_.epilogueRequired = true;
    } else if (startsWith(text, "LOOP EPILOGUE VECTORIZED")) {
      analysis_.epilogueVectorized = true;
    } else if (startsWith(text, "vectorization factor = ")) {
      if (!analysis_.firstFactor) analysis_.firstFactor = toUnsigned(text.substr(23));
    } else if (startsWith(text, "vectype: ")) {
      // "vectype: vector(8) float"
      std::string_view type = trim(text.substr(9));
      size_t close = type.find(") ");
      if (!startsWith(type, "vector(") && !startsWith(type, "const vector(")) return;
      if (close == std::string_view::npos) return;
      type = trim(type.substr(close + 2));
      unsigned size = gccElementSize(type);
      if (!size) return;
      if (startsWith(type, "const ")) type.remove_prefix(6);
      ++analysis_.elementTypes[std::string(type)];
      if (!analysis_.minElementSize || size < analysis_.minElementSize) analysis_.minElementSize = size;
    }
    if (analysis_.verdictLoop >= 0) applyFlags(index_[static_cast<size_t>(analysis_.verdictLoop)]);
  }

  void applyFlags(LoopRemark& l) {
    l.epilogueRequired |= analysis_.epilogueRequired;
    l.epilogueVectorized |= analysis_.epilogueVectorized;
  }

  void verdict(const GccRecord& r, bool vectorized, unsigned bytes) {
    size_t i = index_.at("gcc", r.file, r.line, r.column, r.function);
    LoopRemark& l = index_[i];
    analysis_.verdictLoop = static_cast<long>(i);
    notePass(l, "vect");
    applyFlags(l);
    if (vectorized) {
      // Lanes of the loop's main data; an index array of narrower integers
      // would make the factor larger than any vector of that data holds.
      unsigned size = gccElementSize(mainElementType());
      if (!size) size = analysis_.minElementSize;
      unsigned lanes = size ? bytes / size : 0;
      if (!lanes && l.vectorLengths.empty()) lanes = analysis_.firstFactor;
      if (lanes) l.vectorLengths.push_back(lanes);
      if (l.vectorized) return;  // the epilogue's verdict
      l.vectorized = true;
      l.reason = oneLine(r.text);
      l.reasonKey = "loop vectorized";
      l.diagnostic = diagnosticForReason("gcc", l.reasonKey);
      l.elementType = mainElementType();
      return;
    }
    if (l.vectorized) return;
    // What -fopt-info shows first is what users know the loop by; the first
    // reason we have a number for decides the number.
    const GccAnalysis::Failure* shown = nullptr;
    for (int pass = 0; pass < 4 && !shown; ++pass) {
      for (const auto& f : analysis_.failures) {
        bool prefixed = startsWith(f.text, "not vectorized: ");
        if (f.topLevel == (pass == 0 || pass == 2) && (prefixed || pass >= 2)) {
          shown = &f;
          break;
        }
      }
    }
    l.reason = shown ? shown->text : oneLine(r.text);
    l.reasonKey = gccReasonKey(l.reason);
    l.diagnostic = diagnosticForReason("gcc", l.reasonKey);
    for (const auto& f : analysis_.failures) {
      if (l.diagnostic >= 0) break;
      std::string key = gccReasonKey(f.text);
      int number = diagnosticForReason("gcc", key);
      if (number >= 0) {
        l.diagnostic = number;
        l.reasonKey = key;
      }
    }
  }

  std::string mainElementType() const {
    std::string best;
    unsigned count = 0, size = 0;
    for (const auto& [type, n] : analysis_.elementTypes) {
      unsigned s = gccElementSize(type);
      if (n > count || (n == count && (s > size || (s == size && type < best)))) {
        best = type;
        count = n;
        size = s;
      }
    }
    return best;
  }

  RemarkIndex index_;
  GccAnalysis analysis_;
};

std::string jsonPlace(const std::string& path, const std::string& text, simdjson::ondemand::document& doc) {
  const char* at = nullptr;
  if (!doc.current_location().get(at) && at >= text.data() && at <= text.data() + text.size())
    return path + ": at byte " + std::to_string(at - text.data());
  return path;
}

// ---------------------------------------------------------------------------
// clang: -fsave-optimization-record writes one YAML document per remark:
//   --- !Analysis
//   Pass:            loop-vectorize
//   Name:            CantVectorizeLibcall
//   DebugLoc:        { File: k.c, Line: 9, Column: 5 }
//   Function:        with_call
//   Args:
//     - String:          'loop not vectorized: '
//     - String:          call instruction cannot be vectorized
// The vectorizer's analysis remarks sit on the statement that blocked it;
// the verdict that follows ("MissedDetails" or "Vectorized") sits on the loop.

struct ClangRemark {
  std::string tag, pass, name, file, function, text;
  unsigned line = 0, column = 0;
  std::vector<std::pair<std::string, std::string>> args;  // key and value of each argument, in order
  bool located = false;

  std::string_view arg(std::string_view key) const {
    for (const auto& [k, v] : args)
      if (k == key) return v;
    return {};
  }
};

std::string_view scalar(yaml_document_t* doc, yaml_node_t* node) {
  if (!node || node->type != YAML_SCALAR_NODE) return {};
  (void)doc;
  return {reinterpret_cast<const char*>(node->data.scalar.value), node->data.scalar.length};
}

void readClangRemark(yaml_document_t* doc, ClangRemark& r) {
  yaml_node_t* root = yaml_document_get_root_node(doc);
  if (!root || root->type != YAML_MAPPING_NODE) return;
  if (root->tag) r.tag = reinterpret_cast<const char*>(root->tag);
  for (yaml_node_pair_t* p = root->data.mapping.pairs.start; p < root->data.mapping.pairs.top; ++p) {
    std::string_view key = scalar(doc, yaml_document_get_node(doc, p->key));
    yaml_node_t* v = yaml_document_get_node(doc, p->value);
    if (key == "Pass") r.pass = scalar(doc, v);
    else if (key == "Name") r.name = scalar(doc, v);
    else if (key == "Function") r.function = scalar(doc, v);
    else if (key == "DebugLoc" && v && v->type == YAML_MAPPING_NODE) {
      for (yaml_node_pair_t* q = v->data.mapping.pairs.start; q < v->data.mapping.pairs.top; ++q) {
        std::string_view k = scalar(doc, yaml_document_get_node(doc, q->key));
        std::string_view s = scalar(doc, yaml_document_get_node(doc, q->value));
        if (k == "File") r.file = s;
        else if (k == "Line") r.line = toUnsigned(s);
        else if (k == "Column") r.column = toUnsigned(s);
      }
      r.located = !r.file.empty();
    } else if (key == "Args" && v && v->type == YAML_SEQUENCE_NODE) {
      for (yaml_node_item_t* item = v->data.sequence.items.start; item < v->data.sequence.items.top; ++item) {
        yaml_node_t* arg = yaml_document_get_node(doc, *item);
        if (!arg || arg->type != YAML_MAPPING_NODE) continue;
        // Each argument is one key and its value, sometimes with the
        // DebugLoc of what it names.
        for (yaml_node_pair_t* q = arg->data.mapping.pairs.start; q < arg->data.mapping.pairs.top; ++q) {
          std::string_view k = scalar(doc, yaml_document_get_node(doc, q->key));
          if (k == "DebugLoc") continue;
          std::string_view s = scalar(doc, yaml_document_get_node(doc, q->value));
          r.args.emplace_back(k, s);
          r.text += s;
        }
      }
    }
  }
}

class ClangReader {
 public:
  ClangReader(RemarkSet& set) : index_(set) {}

  void handle(const ClangRemark& r) {
    if (r.function != function_) {
      pending_.clear();
      function_ = r.function;
    }
    if (r.pass == "loop-vectorize") return vectorizer(r);
    if (!r.located) return;
    if (r.pass == "loop-idiom" && r.tag == "!Passed") {
      LoopRemark& l = loopAt(r);
      notePass(l, r.pass);
      l.memRoutine = true;
      if (!l.vectorized) {
        l.reason = oneLine(r.text);
        l.reasonKey = r.name;
        l.diagnostic = diagnosticForReason("clang", r.name);
      }
    } else if (r.pass == "loop-unroll" && r.tag == "!Passed") {
      unsigned count = toUnsigned(r.arg("UnrollCount"));
      if (!count) return;
      LoopRemark& l = loopAt(r);
      notePass(l, r.pass);
      if (l.unroll == 0) l.unroll = count;
    } else if (r.pass == "regalloc" && r.name == "LoopSpillReloadCopies") {
      LoopRemark& l = loopAt(r);
      notePass(l, r.pass);
      l.spills = toUnsigned(r.arg("NumSpills")) + toUnsigned(r.arg("NumFoldedSpills"));
      l.reloads = toUnsigned(r.arg("NumReloads")) + toUnsigned(r.arg("NumFoldedReloads"));
    }
  }

 private:
  LoopRemark& loopAt(const ClangRemark& r) { return index_[index_.at("clang", r.file, r.line, r.column, r.function)]; }

  void vectorizer(const ClangRemark& r) {
    if (r.tag == "!Passed" && r.name == "Vectorized") {
      pending_.clear();
      if (!r.located) return;
      LoopRemark& l = loopAt(r);
      notePass(l, r.pass);
      unsigned width = toUnsigned(r.arg("VectorizationFactor"));
      if (l.vectorized) {
        // A second verdict on the same loop is its vectorized epilogue.
        if (width) l.vectorLengths.push_back(width);
        l.epilogueVectorized = true;
        return;
      }
      l.vectorized = true;
      if (width) l.vectorLengths.push_back(width);
      l.interleave = toUnsigned(r.arg("InterleaveCount"));
      l.reason = oneLine(r.text);
      l.reasonKey = r.name;
      l.diagnostic = diagnosticForReason("clang", r.name);
      return;
    }
    bool missed = r.tag == "!Missed";
    // Interleaving is decided on its own and says nothing about vectorizing.
    if (!missed && !startsWith(r.name, "Interleaving")) {
      pending_.push_back(r);
      return;
    }
    if (!missed) return;
    if (r.name != "MissedDetails") pending_.push_back(r);
    if (r.located) {
      LoopRemark& l = loopAt(r);
      notePass(l, r.pass);
      if (!l.vectorized) {
        const ClangRemark& shown = pending_.empty() ? r : pending_.front();
        l.reason = oneLine(shown.text);
        l.reasonKey = shown.name;
        l.diagnostic = -1;
        for (const ClangRemark& p : pending_) {
          int number = diagnosticForReason("clang", p.name);
          if (number < 0) number = diagnosticForReason("clang", p.tag);
          if (number >= 0) {
            l.diagnostic = number;
            l.reasonKey = p.name;
            break;
          }
        }
      }
    }
    pending_.clear();
  }

  RemarkIndex index_;
  std::string function_;
  std::vector<ClangRemark> pending_;
};

}  // namespace

bool readGccOptRecord(const std::string& path, RemarkSet& out, std::string& error) {
  std::string text;
  if (!readGzip(path, text, error)) return false;
  text.reserve(text.size() + simdjson::SIMDJSON_PADDING);
  simdjson::ondemand::parser parser;
  simdjson::ondemand::document doc;
  auto broken = [&](simdjson::error_code e) {
    error = jsonPlace(path, text, doc) + ": not a gcc optimization record: " + simdjson::error_message(e);
    return false;
  };
  if (auto e = parser.iterate(text.data(), text.size(), text.capacity()).get(doc)) {
    error = path + ": not a gcc optimization record: " + simdjson::error_message(e);
    return false;
  }
  array top;
  if (auto e = doc.get_array().get(top)) return broken(e);
  std::unordered_map<std::string, std::string> passes;
  GccReader reader(out);
  std::vector<GccRecord> records;
  int part = 0;
  for (auto item : top) {
    ++part;
    if (part == 1) {
      object header;
      if (auto e = item.get_object().get(header)) return broken(e);
      continue;
    }
    array list;
    if (auto e = item.get_array().get(list)) return broken(e);
    if (part == 2) {
      collectPasses(list, passes);
      continue;
    }
    for (auto element : list) {
      object record;
      if (auto e = element.get_object().get(record)) return broken(e);
      records.clear();
      if (auto e = parseGccRecord(record, 0, passes, records)) return broken(e);
      for (const GccRecord& r : records) reader.handle(r);
    }
  }
  if (part < 3) {
    error = path + ": not a gcc optimization record: it has no records";
    return false;
  }
  return true;
}

bool readClangOptYaml(const std::string& path, RemarkSet& out, std::string& error) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    error = path + ": cannot open: " + std::strerror(errno);
    return false;
  }
  yaml_parser_t parser;
  yaml_parser_initialize(&parser);
  yaml_parser_set_input_file(&parser, file);
  ClangReader reader(out);
  bool ok = true;
  for (;;) {
    yaml_document_t doc;
    if (!yaml_parser_load(&parser, &doc)) {
      error = path + ":" + std::to_string(parser.problem_mark.line + 1) + ":" +
              std::to_string(parser.problem_mark.column + 1) + ": not a clang optimization record: " +
              (parser.problem ? parser.problem : "unreadable YAML");
      ok = false;
      break;
    }
    yaml_node_t* root = yaml_document_get_root_node(&doc);
    if (!root) {  // the end of the stream
      yaml_document_delete(&doc);
      break;
    }
    ClangRemark remark;
    readClangRemark(&doc, remark);
    yaml_document_delete(&doc);
    if (remark.pass.empty()) {
      error = path + ":" + std::to_string(parser.mark.line) + ": not a clang optimization record: a remark without a Pass";
      ok = false;
      break;
    }
    reader.handle(remark);
  }
  yaml_parser_delete(&parser);
  std::fclose(file);
  return ok;
}

bool readRemarksBelow(const std::string& dir, RemarkSet& out, std::string& error) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!fs::is_directory(dir, ec)) {
    error = dir + ": not a directory";
    return false;
  }
  std::vector<std::string> gcc, clang;
  fs::recursive_directory_iterator it(dir, fs::directory_options::skip_permission_denied, ec), end;
  if (ec) {
    error = dir + ": cannot list: " + ec.message();
    return false;
  }
  for (; it != end; it.increment(ec)) {
    if (ec) break;
    if (!it->is_regular_file(ec)) continue;
    std::string name = it->path().filename().string();
    if (endsWith(name, ".opt-record.json.gz")) gcc.push_back(it->path().string());
    else if (endsWith(name, ".opt.yaml")) clang.push_back(it->path().string());
  }
  // Sorted, so that the same tree always reads the same way.
  std::sort(gcc.begin(), gcc.end());
  std::sort(clang.begin(), clang.end());
  std::string problem;
  for (const auto& path : gcc)
    if (!readGccOptRecord(path, out, problem)) out.warnings.push_back(problem);
  for (const auto& path : clang)
    if (!readClangOptYaml(path, out, problem)) out.warnings.push_back(problem);
  return true;
}

}  // namespace nimbex::importer
