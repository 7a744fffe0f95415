#pragma once
// Reading what the compiler reports about a loop's vectors.

#include <string_view>

namespace data_models2::isa_helpers {

/// The vector length of a loop from the compiler's text of its lengths.
///
/// The text is one or more whole numbers separated by ';', ',' or blanks
/// ("4", "2;4", "4, 8"); a loop with several vector bodies reports one per
/// body, and the largest is the one that sets how many elements an iteration
/// covers, so that one is returned. Tokens that are not positive whole
/// numbers are ignored. Empty text, or text without such a number, gives 1:
/// a loop that reports no length is treated as scalar.
int getVectorLength(std::string_view text);

}  // namespace data_models2::isa_helpers
