#pragma once
// Renders the findings on the rows of a result as the XML report.

#include <functional>
#include <string>
#include <string_view>

#include "platform/foundation/progress.h"
#include "platform/model_support/report_tree.h"

namespace data_models2 {

/// Writes the issues, recommendations and traits of every row of a tree as
/// one XML document (layout in docs/issues-xml.md). A record that several
/// rows hold (a finding lifted to a parent) or several issues hold is written
/// once and referred to by number, so that reading the report restores the
/// sharing.
///
/// Each row is read once, under its own lock; the records themselves tolerate
/// readers on other threads. Null entries in a row's lists are skipped: they
/// carry nothing to restore. Rows without findings are left out.
///
/// The document is never held whole. One walk over the rows numbers the
/// records and writes the recommendations as it meets them; what the later
/// sections need of the rows (the numbers of their records) is kept as flat
/// lists of numbers, so the records are read again from their owners rather
/// than from a copy.
///
/// An issue lifted from loop 2 to function 1 (abridged):
///
///   <issues_report version="1" rows="3" fingerprint="50f3dd9166d53b86">
///     <recommendations>
///       <recommendation ref="1" id="align_loop" flags="8" priority="-1" confidence="2" title="..." text="..." />
///     </recommendations>
///     <issues>
///       <issue ref="1" id="loop_misalignment_issue" flags="65" priority="1" title="..." text="...">
///         <float key="roofline_impact" value="0.75" />
///         <parameters>
///           <value key="trip_count" type="u32" value="7" />
///           <bag key="call"><value key="name" type="text" value="exp" /></bag>
///         </parameters>
///         <recommendation ref="1" />
///       </issue>
///     </issues>
///     <traits>
///       <trait ref="1" id="system_calls" column="0" text="System calls&#10;Move them out of the loop" />
///     </traits>
///     <rows>
///       <row id="1"><issue ref="1" /></row>
///       <row id="2"><issue ref="1" /><trait ref="1" /></row>
///     </rows>
///   </issues_report>
class ReportXmlWriter {
 public:
  /// Receives the document piece by piece, in order, in pieces of up to a
  /// few hundred kilobytes.
  using sink_t = std::function<void(std::string_view)>;

  explicit ReportXmlWriter(const ReportTree& tree) : tree_(tree) {}

  /// Hands the document to `sink`. Reports one step per row to `progress`
  /// (may be null) and gives up, false, when it is cancelled; false as well
  /// for a parameter bag that the reader would refuse (nested deeper than the
  /// format allows, or a value of a kind without a name). What reached the
  /// sink before a failure is a part of a document only.
  bool write(foundation::IProgress* progress, const sink_t& sink) const;

  /// The document as one text, as write gives it; `text` is left as it was
  /// when write fails.
  bool render(foundation::IProgress* progress, std::string& text) const;

 private:
  const ReportTree& tree_;
};

}  // namespace data_models2
