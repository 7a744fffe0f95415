#pragma once
// The findings as a SARIF 2.1.0 log, for code-scanning pages, editors and CI
// annotations. One rule per issue kind, one result per issue on a loop:
//
//   {"version": "2.1.0", "runs": [{
//     "tool": {"driver": {"name": "nimbex-cl", "rules": [
//       {"id": "type_conversions_issue", "name": "TypeConversionsIssue",
//        "shortDescription": {"text": "Data type conversions in the loop"},
//        "fullDescription": {"text": "The loop converts values ..."},
//        "help": {"text": "Use the smallest data type ...", "markdown": "..."}}]}},
//     "results": [
//       {"ruleId": "type_conversions_issue", "ruleIndex": 0, "level": "note",
//        "message": {"text": "Data type conversions in the loop: [loop in relax(...) at relax.cpp:43] ..."},
//        "locations": [{"physicalLocation": {"artifactLocation": {"uri": "file:///home/ana/heat/src/relax.cpp"},
//                                            "region": {"startLine": 43}},
//                       "logicalLocations": [{"fullyQualifiedName": "relax(Grid&, Grid const&)", "kind": "function"}]}],
//        "rank": 72.2,
//        "partialFingerprints": {"nimbexLoopIssue/v1": "9f3c0d1e5a7b2c48"},
//        "properties": {"selfTime": 3.07, "totalTime": 3.07, "zone": "mostly-memory", "confidence": "low", ...}}]}]}
//
// Levels: a high-confidence recommendation makes a "warning", medium and low
// ones a "note", an issue without recommendations "none". Nothing is an
// "error": code-scanning gates fail a change on errors, and a performance
// finding should not block one.
//
// The fingerprint hashes what names the loop in the source (module, linkage
// name, source file name and line) and the issue kind, never an address, so
// it stays the same across runs and rebuilds of the same code.

#include <string>

#include "tools/nimbex-cl/loop_findings.h"

namespace nimbex_cl {

class SarifReport {
 public:
  /// `data` must outlive the report.
  explicit SarifReport(const ReportData& data) : data_(data) {}

  /// The whole log, UTF-8 JSON.
  std::string render() const;

 private:
  const ReportData& data_;
};

}  // namespace nimbex_cl
