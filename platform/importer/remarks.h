#pragma once
// What the compilers said about each loop, read from their optimization
// records: gcc's *.opt-record.json.gz and clang's *.opt.yaml.

#include <string>
#include <vector>

namespace nimbex::importer {

struct LoopRemark {
  std::string compiler;                 // "gcc" or "clang"
  std::string file;                     // as the record names it
  unsigned line = 0, column = 0;
  std::string function;                 // as the record names it (mangled where given)
  bool vectorized = false;
  std::vector<unsigned> vectorLengths;  // elements per vector: the body's first, then a vectorized epilogue's
  unsigned interleave = 0;              // clang InterleaveCount
  unsigned unroll = 0;                  // unroll factor when reported
  std::string elementType;              // "float", "double", ... when the record says
  std::string reason;                   // the compiler's own "why not" text, as a user would read it
  std::string reasonKey;                // clang remark Name ("UnsafeMemDep") or gcc's normalised message
  int diagnostic = -1;                  // our diagnostic number (field 50), -1 when nothing means the same
  bool epilogueRequired = false;        // gcc "epilog loop required"
  bool epilogueVectorized = false;      // gcc "LOOP EPILOGUE VECTORIZED"
  bool memRoutine = false;              // replaced by memset/memcpy
  unsigned spills = 0, reloads = 0;     // clang regalloc LoopSpillReloadCopies
  std::vector<std::string> passes;      // the passes that spoke about this loop, in record order
};

struct RemarkSet {
  std::vector<LoopRemark> loops;        // one per (file, line, column, function, compiler), merged
  std::vector<std::string> warnings;    // one line each
};

// One record file; false with a one-line error naming the file and place when
// it is unreadable or broken.
bool readGccOptRecord(const std::string& path, RemarkSet& out, std::string& error);
bool readClangOptYaml(const std::string& path, RemarkSet& out, std::string& error);
// Every *.opt-record.json.gz and *.opt.yaml below dir.
bool readRemarksBelow(const std::string& dir, RemarkSet& out, std::string& error);

// The diagnostic numbers a compiler's reason can map to.
constexpr int kVectorizedDiagnostic = 15300;
constexpr int kMemRoutineDiagnostic = 15306;
constexpr int kAssumedDependencyDiagnostic = 15344;
constexpr int kTooComplexDiagnostic = 15533;
// Not a reason any record gives: the joiner sets it on an outer loop left
// scalar whose inner loop was vectorized.
constexpr int kInnerLoopVectorizedDiagnostic = 15542;

// Our diagnostic number for a compiler's reason, -1 when none of ours means
// the same thing. key is a clang remark Name or gcc's normalised message.
int diagnosticForReason(const std::string& compiler, const std::string& key);

}  // namespace nimbex::importer
