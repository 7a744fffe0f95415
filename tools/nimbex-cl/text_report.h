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
//
// Lines are wrapped at 80 columns; the report is read in a terminal.

#include <cstddef>
#include <ostream>
#include <string>

#include "data_abstractions2/i_dataset.h"

namespace nimbex_cl {

class TextReport {
 public:
  struct Settings {
    std::size_t topLoops = 0;   ///< 0: every loop
    std::size_t width = 80;
    std::string resultName;     ///< shown in the header
    double programTime = 0.0;   ///< seconds; 0: the sum of the top rows' total times
    std::string origin;         ///< where the findings came from ("scanned", "read from issues.xml")
  };

  TextReport(foundation::sptr_t<data_abstractions2::IDataset> bottomUp, Settings settings);

  void print(std::ostream& out) const;

 private:
  foundation::sptr_t<data_abstractions2::IDataset> bottomUp_;
  Settings settings_;
};

/// "high", "medium" or "low" for the confidence values 3, 2, 1; the number
/// itself otherwise.
std::string confidenceName(int confidence);

/// Wraps `text` to `width` columns, each line starting with `indent`.
/// Existing line breaks are kept; a word longer than a line stands alone.
std::string wrapText(const std::string& text, std::size_t indent, std::size_t width);

}  // namespace nimbex_cl
