#include "tools/nimbex-gen/synthetic_result.h"

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <random>
#include <vector>

#include "platform/foundation/variant.h"
#include "platform/host_data/json_text.h"

namespace nimbex_gen {

namespace json_text = host_data::json_text;

bool parseShape(const std::string& text, Shape& out) {
  if (text == "wide") {
    out = Shape::Wide;
  } else if (text == "deep") {
    out = Shape::Deep;
  } else if (text == "mixed") {
    out = Shape::Mixed;
  } else {
    return false;
  }
  return true;
}

namespace {

constexpr std::uint64_t kNoParent = ~std::uint64_t(0);
constexpr std::uint64_t kCallTreeIdBase = 1'000'000'000'000ull;
constexpr std::uint64_t kCodeBase = 0x400000;
constexpr std::size_t kFlushBytes = 1 << 20;

/// The tree's outline: parents always come before their children, so one
/// backward pass can sum what children contribute to their parents.
struct Outline {
  std::vector<std::uint64_t> parent;
  std::vector<bool> isFunction;
  std::vector<std::uint32_t> childCount;
};

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  std::uint64_t below(std::uint64_t bound) { return engine_() % bound; }
  /// Uniform in [0, 1), from the top 53 bits.
  double unit() { return static_cast<double>(engine_() >> 11) * 0x1.0p-53; }

 private:
  std::mt19937_64 engine_;
};

Outline makeOutline(const Options& options, Random& random) {
  const std::uint64_t n = options.rows;
  Outline outline;
  outline.parent.assign(n, kNoParent);
  outline.isFunction.assign(n, false);
  outline.childCount.assign(n, 0);
  std::vector<std::uint64_t> path;  // the nest the next row may join (mixed shape)
  std::uint64_t loopsLeftInFunction = 0;
  for (std::uint64_t i = 0; i < n; ++i) {
    std::uint64_t parent = kNoParent;
    switch (options.shape) {
      case Shape::Deep:
        parent = i == 0 ? kNoParent : i - 1;
        break;
      case Shape::Wide:
        if (loopsLeftInFunction == 0) {
          loopsLeftInFunction = 1 + random.below(16);
          path.assign(1, i);
        } else {
          parent = path.front();
          --loopsLeftInFunction;
        }
        break;
      case Shape::Mixed: {
        const std::uint64_t roll = random.below(10);
        if (path.empty() || roll == 0) {
          path.clear();
        } else {
          if (roll <= 3 && path.size() > 1) path.pop_back();
          if (path.size() >= 12) path.pop_back();
          parent = path.back();
        }
        path.push_back(i);
        break;
      }
    }
    outline.parent[i] = parent;
    outline.isFunction[i] = parent == kNoParent;
    if (parent != kNoParent) ++outline.childCount[parent];
  }
  return outline;
}

/// Kinds of loop the generator draws from: what the compiler made of the
/// loop and the code it made, kept together so that a loop's instruction
/// classes, data type and machine code tell the same story. Each body is a
/// few instructions ending in its back edge; the bytes decode as x86-64 code
/// at any address because the branches are relative.
struct LoopKind {
  bool vectorized;
  const char* instructionSets;
  const char* dataType;
  int mainVectType;  // as MainVectType: 3 int32, 4 int64, 5 float32, 6 float64
  const char* vectorLengths;
  const char* code;
};

constexpr LoopKind kVectorKinds[] = {
    // vmovups, vaddps, vmovups: a plain single-precision stream
    {true, "AVX; AVX2", "float32", 5, "8",
     "c5 fc 10 04 87 c5 fc 58 04 86 c5 fc 11 04 87 48 83 c0 08 48 39 c8 72 e8"},
    // vmovupd, vfmadd231pd, vmovupd
    {true, "AVX; AVX2; FMA", "float64", 6, "4",
     "c5 fd 10 0c c7 c4 e2 f5 b8 04 c6 c5 fd 11 04 c2 48 83 c0 04 48 39 c8 72 e7"},
    // vcvtdq2pd, vmulpd, vaddpd, vmovupd: integers widened to doubles
    {true, "AVX; AVX2; Type Conversions", "float64", 6, "4",
     "c5 fe e6 04 87 c5 fd 59 04 c6 c5 fd 58 04 c2 c5 fd 11 04 c2 48 83 c0 04 48 39 c8 72 e3"},
    // vgatherdpd under a full mask, vmaskmovpd
    {true, "AVX; AVX2; Gathers; Masked Stores", "float64", 6, "4",
     "c5 fa 6f 14 86 c5 e5 76 db c4 e2 e5 92 0c d7 c4 e2 5d 2f 0c c2 48 83 c0 04 48 39 c8 72 e2"},
    // vsqrtpd, vdivpd
    {true, "AVX; AVX2; Divisions; Square Roots", "float64", 6, "4",
     "c5 fd 10 0c c7 c5 fd 51 d1 c5 ed 5e 04 c6 c5 fd 11 04 c2 48 83 c0 04 48 39 c8 72 e4"},
};

constexpr LoopKind kScalarKinds[] = {
    // movsd, mulsd, addsd; the most common kind, see chooseKind
    {false, "SSE; SSE2", "float64", 6, "1", "f2 0f 10 04 c7 f2 0f 59 c0 f2 0f 58 c8 48 83 c0 01 48 39 f0 75 ea"},
    // cvtsi2sd from memory, mulsd, movsd
    {false, "SSE; SSE2; Type Conversions", "float64", 6, "1",
     "f2 0f 2a 04 87 f2 0f 59 c1 f2 0f 11 04 c2 48 83 c0 01 48 39 c8 72 e9"},
    // a call through a table of function pointers: call [r12+rax*8]
    {false, "SSE; SSE2", "int64", 4, "1", "48 8b 3c c3 41 ff 14 c4 48 83 c0 01 4c 39 e8 72 ef"},
};

constexpr int kScalarDiagnostics[] = {15344, 15541, 15315, 15335, 15533};

/// Two loops in three are vectorized, spread evenly over the vector kinds;
/// most scalar loops are plain arithmetic, and one in five each converts or
/// calls through a pointer.
const LoopKind& chooseKind(Random& random) {
  if (random.below(3) != 0) return kVectorKinds[random.below(std::size(kVectorKinds))];
  const std::uint64_t roll = random.below(5);
  return kScalarKinds[roll < 3 ? 0 : roll - 2];
}

class Writer {
 public:
  Writer(const Options& options, const Outline& outline, Random& random, json_text::AtomicFileWriter& file)
      : options_(options), outline_(outline), random_(random), file_(file) {
    const std::size_t n = outline.parent.size();
    root_.resize(n);
    selfTime_.resize(n);
    totalTime_.assign(n, 0.0);
    kind_.resize(n, nullptr);
    for (std::size_t i = 0; i < n; ++i) {
      root_[i] = outline.parent[i] == kNoParent ? i : root_[outline.parent[i]];
      selfTime_[i] = outline.isFunction[i] ? 0.01 * random.unit() : 0.5 * random.unit();
      if (!outline.isFunction[i]) kind_[i] = &chooseKind(random);
    }
    for (std::size_t i = n; i-- > 0;) {
      totalTime_[i] += selfTime_[i];
      if (outline.parent[i] != kNoParent) totalTime_[outline.parent[i]] += totalTime_[i];
    }
  }

  void writeDocument() {
    out_ = "{\n  \"format\": \"nimbex-result\",\n  \"version\": 1,\n";
    out_ += "  \"x-note\": \"synthetic result: seed " + std::to_string(options_.seed) + "\",\n";
    out_ += "  \"machine\": { \"isaExtensions\": 11, \"cpuType\": 10, \"maxVectorLength\": 512 },\n";
    out_ += "  \"collected\": [\"survey\", \"tripCounts\", \"roofline\"],\n";
    out_ += "  \"roofs\": [ { \"name\": \"L1 Bandwidth\", \"value\": 1228800000000, \"secondWord\": 1 },\n";
    out_ += "             { \"name\": \"DRAM Bandwidth\", \"value\": 25600000000, \"secondWord\": 1 },\n";
    out_ += "             { \"name\": \"DP Vector FMA Peak\", \"value\": 76800000000, \"secondWord\": 2 } ],\n";
    double elapsed = 0.0;
    for (std::size_t i = 0; i < outline_.parent.size(); ++i) {
      if (outline_.parent[i] == kNoParent) elapsed += totalTime_[i];
    }
    out_ += "  \"session\": { \"totalElapsedTime\": ";
    json_text::appendDouble(out_, elapsed);
    out_ += " },\n  \"bottomUp\": { \"rows\": [";
    writeRows(false);
    out_ += "\n  ] }";
    if (options_.callTree) {
      out_ += ",\n  \"callTree\": { \"rows\": [";
      writeRows(true);
      out_ += "\n  ] }";
    }
    out_ += "\n}\n";
    file_.write(out_);
  }

 private:
  void flushIfLarge() {
    if (out_.size() < kFlushBytes) return;
    file_.write(out_);
    out_.clear();
  }

  void field(const char* name, const foundation::variant_t& value) {
    out_ += ", \"";
    out_ += name;
    out_ += "\": ";
    json_text::appendTypedValue(out_, value);
  }

  void writeRows(bool callTree) {
    const std::uint64_t idBase = callTree ? kCallTreeIdBase : 1;
    const std::size_t n = outline_.parent.size();
    // Children ids are the row's successors with it as parent; collect them
    // once, in order, as a flat list per row.
    std::vector<std::uint64_t> childBegin(n + 1, 0);
    for (std::size_t i = 0; i < n; ++i) childBegin[i + 1] = childBegin[i] + outline_.childCount[i];
    std::vector<std::uint64_t> children(childBegin[n]);
    std::vector<std::uint64_t> filled(n, 0);
    for (std::size_t i = 0; i < n; ++i) {
      const std::uint64_t p = outline_.parent[i];
      if (p != kNoParent) children[childBegin[p] + filled[p]++] = i;
    }

    for (std::size_t i = 0; i < n; ++i) {
      out_ += i == 0 ? "\n    " : ",\n    ";
      out_ += "{ \"id\": " + std::to_string(idBase + i);
      const bool function = outline_.isFunction[i];
      const bool innermost = !function && outline_.childCount[i] == 0;
      if (!function) out_ += innermost ? ", \"type\": [\"loop\", \"innermost\"]" : ", \"type\": [\"loop\"]";
      if (outline_.childCount[i] != 0) {
        out_ += ", \"children\": [";
        for (std::uint64_t k = childBegin[i]; k < childBegin[i + 1]; ++k) {
          if (k != childBegin[i]) out_ += ", ";
          out_ += std::to_string(idBase + children[k]);
        }
        out_ += "]";
      }
      writeFields(i, function, callTree);
      if (!function) writeLoopData(i, innermost, callTree);
      out_ += " }";
      flushIfLarge();
    }
  }

  void writeFields(std::size_t i, bool function, bool callTree) {
    const std::uint64_t functionIndex = root_[i];
    const std::string functionName = "kernel_" + std::to_string(functionIndex);
    out_ += ", \"fields\": { \"FuncInstIdx\": " + std::to_string(i + 1);
    if (callTree) {
      if (function) {
        // A plain user function of the program.
        field("FunctionName", functionName);
        field("ModuleName", "app");
        field("Field24", std::int64_t(0));
        field("IsSystemFunction", std::int64_t(0));
      } else {
        // A loop row says only where it stands: no function kind, so the
        // walk over what a loop calls passes it by instead of counting the
        // loop as a call of its own.
        field("InnerLoopCount", std::uint64_t(outline_.childCount[i]));
      }
      out_ += " }";
      return;
    }
    field("FunctionName", functionName);
    field("SourceFile", "/src/module_" + std::to_string(functionIndex % 7) + ".cpp");
    field("ModuleName", "app");
    field("SelfTime", selfTime_[i]);
    field("TotalTime", totalTime_[i]);
    field("CompilerName", "Vorex C++ Compiler");
    field("CompilerVersion", "2023.1.0");
    field("CompilerFlags", "-O3 -mavx2 -g");
    if (!function) {
      const LoopKind& kind = *kind_[i];
      field("3", foundation::variant_t::make_integer(foundation::variant_t::t_i32, 10 + i % 500));
      field("InnerLoopCount", std::uint64_t(outline_.childCount[i]));
      field("IsVectorized", kind.vectorized);
      const int diagnostic = kind.vectorized ? 15300 : kScalarDiagnostics[random_.below(std::size(kScalarDiagnostics))];
      field("VectorizationDiagnosticId",
            foundation::variant_t::make_integer(foundation::variant_t::t_i32, static_cast<std::uint64_t>(diagnostic)));
      if (kind.vectorized) field("VectorizationMessage", "LOOP WAS VECTORIZED");
      field("Isa", kind.vectorized ? "AVX2" : "SSE2");
      field("InstructionSets", kind.instructionSets);
      field("DataTypeName", kind.dataType);
      field("MainVectType", foundation::variant_t::make_integer(foundation::variant_t::t_i32,
                                                                static_cast<std::uint64_t>(kind.mainVectType)));
      field("Field22", std::int64_t(2));  // 64-bit code
      field("VectorLengths", kind.vectorLengths);
      field("VectorEfficiency", kind.vectorized ? 40.0 + 60.0 * random_.unit() : 0.0);
      field("TripCountsValid", true);
    }
    out_ += " }";
  }

  void writeLoopData(std::size_t i, bool innermost, bool callTree) {
    if (options_.machineCode) {
      // Both trees carry the loop's one body, at one address.
      char address[32];
      std::snprintf(address, sizeof address, "0x%llx", static_cast<unsigned long long>(kCodeBase + 64 * i));
      out_ += ", \"machineCode\": { \"address\": \"";
      out_ += address;
      out_ += "\", \"bytes\": \"";
      out_ += kind_[i]->code;
      out_ += "\" }";
    }
    if (callTree) {
      out_ += ", \"avx512Shadow\": " + std::to_string(random_.below(4));
      return;
    }
    const std::uint64_t trips = 1 + random_.below(2000);
    const std::uint64_t calls = 1 + random_.below(100000);
    out_ += ", \"sourceTripCounts\": { \"TripCountAverage\": { \"value\": " + std::to_string(trips) +
            ", \"summands\": [ { \"value\": " + std::to_string(trips) + ", \"count\": " + std::to_string(calls) +
            " } ] }, \"CallCount\": { \"value\": " + std::to_string(calls) + " } }";
    out_ += ", \"medianTripCount\": " + std::to_string(trips);
    if (innermost) {
      const std::uint64_t memory = 1 + random_.below(8);
      const std::uint64_t compute = random_.below(8);
      out_ += ", \"instructionMix\": { \"summary\": { \"1\": " + std::to_string(compute) +
              ", \"5\": " + std::to_string(memory) + ", \"9\": " + std::to_string(memory + compute + 2) +
              ", \"45\": 0 } }";
      const std::uint64_t operations = trips * calls * (compute + 1);
      out_ += ", \"roofline\": { \"operations\": " + std::to_string(operations) +
              ", \"bytes\": " + std::to_string(trips * calls * memory * 8) + ", \"opsType\": 0 }";
    }
  }

  const Options& options_;
  const Outline& outline_;
  Random& random_;
  json_text::AtomicFileWriter& file_;
  std::vector<std::uint64_t> root_;  // the function row each row belongs to
  std::vector<double> selfTime_;
  std::vector<double> totalTime_;
  std::vector<const LoopKind*> kind_;  // null for functions
  std::string out_;
};

}  // namespace

bool writeSyntheticResult(const Options& options, std::string& error) {
  if (options.outputDir.empty()) {
    error = "no output directory";
    return false;
  }
  std::error_code ec;
  std::filesystem::create_directories(options.outputDir, ec);
  if (ec) {
    error = options.outputDir + ": " + ec.message();
    return false;
  }
  Random random(options.seed);
  const Outline outline = makeOutline(options, random);
  json_text::AtomicFileWriter file((std::filesystem::path(options.outputDir) / "result.json").string());
  if (!file.open(error)) return false;
  Writer(options, outline, random, file).writeDocument();
  return file.commit(error);
}

}  // namespace nimbex_gen
