#pragma once
// The text report of nimbex-cl: the loops of a result, hottest first, each
// with its issues, their recommendations and confidence, and its traits.
//
//   nimbex-cl: 3 loops with findings out of 4 (result examples/basic, scanned)
//
//   1. [loop in relax(Grid&, Grid const&) at relax.cpp:43]
//      self 3.070 s (97.8%)  total 3.070 s
//      Issue: Data type conversions present
//        The loop converts values between data types ...
//        Recommendation [confidence: low]: Use the smallest data type that holds your values
//          ...
//   ...
//
//   Summary of 4 loops
//     By zone:
//       memory bound                                      1
//       no roofline position                              3
//     Issues by kind, with the self time of their loops:
//       Data type conversions present            1 loop      3.070 s
//
// Lines are wrapped at 80 columns; the report is read in a terminal.

#include <cstddef>
#include <ostream>
#include <string>

#include "tools/nimbex-cl/loop_findings.h"

namespace nimbex_cl {

class TextReport {
 public:
  struct Settings {
    std::size_t topLoops = 0;   ///< 0: every loop
    std::size_t width = 80;
    std::string origin;         ///< where the findings came from ("scanned", "read from issues.xml")
  };

  /// `data` must outlive the report.
  TextReport(const ReportData& data, Settings settings);

  void print(std::ostream& out) const;

 private:
  void printLoop(std::ostream& out, std::size_t number, const LoopFindings& loop) const;
  void printSummary(std::ostream& out) const;

  const ReportData& data_;
  Settings settings_;
};

/// "high", "medium" or "low" for the confidence values 3, 2, 1; the number
/// itself otherwise.
std::string confidenceName(int confidence);

/// Wraps `text` to `width` columns, each line starting with `indent`.
/// Existing line breaks are kept; a word longer than a line stands alone.
std::string wrapText(const std::string& text, std::size_t indent, std::size_t width);

}  // namespace nimbex_cl
