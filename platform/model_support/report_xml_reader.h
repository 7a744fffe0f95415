#pragma once
// Reads the XML report back into records, checking all of it first.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data_abstractions2/i_records.h"
#include "platform/model_support/report_tree.h"

namespace data_models2 {

/// The findings that a report gives the rows: for each row it names, where
/// the row stands in the tree and its issues and traits, in the row's order.
struct ReportFindings {
  struct row_entry_t {
    /// The row's place in ReportTree::rows().
    std::size_t position = 0;
    /// [begin, end) in `issues` and in `traits`.
    std::size_t issuesBegin = 0, issuesEnd = 0;
    std::size_t traitsBegin = 0, traitsEnd = 0;
  };
  /// Sorted by position; a row appears once.
  std::vector<row_entry_t> rows;
  std::vector<foundation::sptr_t<data_abstractions2::IIssueEx>> issues;
  std::vector<foundation::sptr_t<data_abstractions2::ITrait>> traits;
};

/// Parses a report written by ReportXmlWriter and builds its records, with
/// the sharing between rows and issues that the writer recorded.
///
/// The text is read in pieces as they come, without a tree of the whole
/// document: what stays in memory are the records and, per row, where its
/// findings are.
///
/// The reader trusts nothing in the text: the document must be well-formed
/// and carry the right root, version, row count and fingerprint of `tree`;
/// every row id must name a row of the tree and appear once; every reference
/// must resolve; every number and typed value must parse and fit its kind;
/// elements that the format does not know, text and document type
/// declarations are refused. Attributes it does not know are ignored.
/// Nothing is handed out unless the whole text passes.
///
///   ReportXmlReader reader(tree);
///   while (more) if (!reader.feed(piece)) break;
///   if (!reader.finish(findings)) log(reader.error());
class ReportXmlReader {
 public:
  explicit ReportXmlReader(const ReportTree& tree);
  ~ReportXmlReader();
  ReportXmlReader(const ReportXmlReader&) = delete;
  ReportXmlReader& operator=(const ReportXmlReader&) = delete;

  /// Parses the next piece of the text. False once the text is known to be
  /// refused; later pieces are then ignored.
  bool feed(std::string_view piece);
  /// Ends the text: fills `findings` and returns true, or returns false with
  /// `findings` untouched and error() saying what was wrong and where.
  bool finish(ReportFindings& findings);

  /// Whether `head`, the start of a text, opens a report of this tree: its
  /// root carries the version, row count and fingerprint. Nothing past the
  /// root's start tag counts. Use a reader for one call of this only.
  bool acceptsHead(std::string_view head);

  /// The whole text at once: feed and finish.
  bool read(std::string_view text, ReportFindings& findings);
  /// Why the text was refused: "<what> at offset <n>", or empty.
  const std::string& error() const;

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace data_models2
