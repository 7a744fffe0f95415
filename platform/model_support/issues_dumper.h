#pragma once
// The report file "issues.xml": findings of a whole result, written after a
// scan and read back instead of the next one.

#include <string>

#include "data_abstractions2/i_dataset.h"
#include "platform/foundation/progress.h"

namespace data_models2 {

/// The code behind IssuesDumper: the XML report of docs/issues-xml.md.
struct DefaultDumpPolicy {
  static bool dumpReport(const foundation::sptr_t<data_abstractions2::IDataset>& dataset, const std::string& fileName,
                         foundation::IProgress* progress);
  static bool assignReport(const foundation::sptr_t<data_abstractions2::IDataset>& dataset, const std::string& fileName,
                           foundation::IProgress* progress);
  static bool reportFits(const foundation::sptr_t<data_abstractions2::IDataset>& dataset, const std::string& fileName);
};

/// Carries the bottom-up tree, the progress object and the file name to the
/// two report operations of `Policy`.
///
/// dumpIssuesReport writes the issues, recommendations and traits of every
/// row, reading each row under its lock, and replaces the file in one step.
/// assignIssuesReport checks the whole file against the tree before it
/// touches any row; then every row of the tree gets exactly the findings the
/// file gives it (none when the file names it not), under the row's lock.
/// Records that the file shares between rows come back shared.
///
/// Both answer false, and change nothing, without a dataset or a file name,
/// on an I/O failure, when cancelled through the progress object, and (for
/// assign) for a file that is missing, truncated, of another format or
/// version, or written for another result.
///
/// The dumper does not own the progress object; it must outlive the calls.
template <class Policy>
class IssuesDumper {
 public:
  IssuesDumper();
  IssuesDumper(foundation::sptr_t<data_abstractions2::IDataset> dataset, foundation::IProgress* progress);

  void setFilename(const std::string& fileName);

  bool dumpIssuesReport() const;
  bool assignIssuesReport() const;
  /// Whether the file is a whole report written for the rows of the tree:
  /// its root carries their count and fingerprint, and the file ends with
  /// the root's end tag. The records in between are not read, so this is
  /// for a file that the session already calls current, not a check of
  /// one from elsewhere.
  bool reportFitsRows() const;

 private:
  foundation::sptr_t<data_abstractions2::IDataset> dataset_;
  std::string fileName_;
  foundation::IProgress* progress_ = nullptr;
};

extern template class IssuesDumper<DefaultDumpPolicy>;

}  // namespace data_models2
