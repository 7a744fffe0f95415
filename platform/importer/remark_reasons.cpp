#include <string_view>

#include "platform/importer/remarks.h"

namespace nimbex::importer {
namespace {

struct ReasonRow {
  std::string_view compiler;  // "gcc" or "clang"
  std::string_view key;       // clang remark Name, or the start of gcc's normalised message
  int diagnostic;
};

// Only reasons that mean what our number means. A number switches detectors
// on, so a loose match (a call blocking the loop read as "too complex", a
// cost-model refusal read as "too few iterations") would give advice the
// compiler never implied; those keep their text and no number.
// Kept in step with the table in docs/importing.md.
constexpr ReasonRow kReasons[] = {
    {"gcc", "loop vectorized", kVectorizedDiagnostic},
    {"gcc", "library call", kMemRoutineDiagnostic},
    {"gcc", "bad data dependence", kAssumedDependencyDiagnostic},
    {"gcc", "can't determine dependence", kAssumedDependencyDiagnostic},
    {"gcc", "possible dependence", kAssumedDependencyDiagnostic},
    {"gcc", "control flow in loop", kTooComplexDiagnostic},
    {"gcc", "unsupported control flow in loop", kTooComplexDiagnostic},
    {"gcc", "bad loop form", kTooComplexDiagnostic},
    {"gcc", "complicated access pattern", kTooComplexDiagnostic},
    {"gcc", "multiple nested loops", kTooComplexDiagnostic},
    {"clang", "Vectorized", kVectorizedDiagnostic},
    {"clang", "ProcessLoopStridedStore", kMemRoutineDiagnostic},
    {"clang", "ProcessLoopStoreOfLoopLoad", kMemRoutineDiagnostic},
    {"clang", "UnsafeMemDep", kAssumedDependencyDiagnostic},
    {"clang", "CantIdentifyArrayBounds", kAssumedDependencyDiagnostic},
    {"clang", "CantReorderMemOps", kAssumedDependencyDiagnostic},
    {"clang", "!AnalysisAliasing", kAssumedDependencyDiagnostic},  // the remark's tag, whatever its name
    {"clang", "CantComputeNumberOfIterations", kTooComplexDiagnostic},
    {"clang", "LoopContainsSwitch", kTooComplexDiagnostic},
    {"clang", "CFGNotUnderstood", kTooComplexDiagnostic},
};

}  // namespace

int diagnosticForReason(const std::string& compiler, const std::string& key) {
  for (const ReasonRow& row : kReasons) {
    if (row.compiler != compiler) continue;
    // gcc's messages go on with the statement or the types they concern.
    bool matches = compiler == "gcc" ? std::string_view(key).substr(0, row.key.size()) == row.key : key == row.key;
    if (matches) return row.diagnostic;
  }
  return -1;
}

}  // namespace nimbex::importer
