#pragma once
// The findings as one self-contained HTML page: styles, script and the chart
// are inline and nothing is fetched, so it opens from disk or a CI artifact.
//
//   <header>   program, machine, total time, loops with findings
//   <svg>      the roofline chart: log-log axes, the memory and compute roofs
//              as named lines, one dot per loop with a position, sized by its
//              self time and coloured by its zone; a dot links to its findings
//   <table>    the loops, hottest first: loop, source, self and total time,
//              zone, vectorized, vector length, issues
//   <details>  per loop with findings: traits, then issues with their
//              recommendations in order and their confidence
//
// Everything is plain HTML: without JavaScript the table, the chart's dots
// (with their names as tooltips and links) and the findings all read. The
// script only sorts the table by a column and makes a clicked dot open its
// findings.

#include <cstddef>
#include <string>

#include "tools/nimbex-cl/loop_findings.h"

namespace nimbex_cl {

class HtmlReport {
 public:
  struct Settings {
    /// A chart of more dots than this shows the hottest; a browser draws a
    /// few thousand SVG circles without trouble, not a hundred thousand.
    std::size_t maxChartPoints = 5000;
    /// The findings of this many hottest loops are written out; a page of
    /// a hundred thousand would be gigabytes that no browser opens. The
    /// table still lists every loop.
    std::size_t maxFindings = 5000;
    /// The findings of this many hottest loops start unfolded.
    std::size_t openFindings = 5;
  };

  /// `data` must outlive the report.
  HtmlReport(const ReportData& data, Settings settings);

  /// The whole page, UTF-8.
  std::string render() const;

 private:
  void renderHeader(std::string& out) const;
  void renderChart(std::string& out) const;
  void renderTable(std::string& out) const;
  void renderFindings(std::string& out) const;
  /// The loop's findings are on the page.
  bool showsFindings(const LoopFindings& loop) const;

  const ReportData& data_;
  Settings settings_;
  /// The coolest loop whose findings are on the page; null when none are.
  const LoopFindings* lastShown_ = nullptr;
};

/// Appends `text` with the characters that HTML gives a meaning escaped.
void appendHtmlEscaped(std::string& out, const std::string& text);

/// A catalogue text as HTML: paragraphs at blank lines, and lines that start
/// with two blanks (code) kept as they are in a <pre> block.
std::string htmlTextBlocks(const std::string& text);

}  // namespace nimbex_cl
