#pragma once
// Reads the XML report back into records, checking all of it first.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "data_abstractions2/i_records.h"
#include "platform/model_support/report_tree.h"

namespace data_models2 {

/// The findings that a report gives one row, in the row's order.
struct ReportRowFindings {
  std::vector<foundation::sptr_t<data_abstractions2::IIssueEx>> issues;
  std::vector<foundation::sptr_t<data_abstractions2::ITrait>> traits;
};

/// Parses a report written by ReportXmlWriter and builds its records, with
/// the sharing between rows and issues that the writer recorded.
///
/// The reader trusts nothing in the text: the document must be well-formed
/// and carry the right root, version, row count and fingerprint of `tree`;
/// every row id must name a row of the tree and appear once; every reference
/// must resolve; every number and typed value must parse and fit its kind;
/// elements that the format does not know are refused. Attributes it does not
/// know are ignored. Nothing is handed out unless the whole text passes.
class ReportXmlReader {
 public:
  using findings_t = std::unordered_map<std::uint64_t, ReportRowFindings>;

  explicit ReportXmlReader(const ReportTree& tree) : tree_(tree) {}

  /// Fills `findings` (keyed by row id) and returns true, or returns false
  /// with `findings` untouched and error() saying what was wrong and where.
  bool read(std::string_view text, findings_t& findings);
  /// Why the last read failed: "<what> at offset <n>", or empty.
  const std::string& error() const { return error_; }

 private:
  const ReportTree& tree_;
  std::string error_;
};

}  // namespace data_models2
