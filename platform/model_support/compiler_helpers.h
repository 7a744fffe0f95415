#pragma once
// Reading what the compiler reports about itself.

#include <compare>
#include <string_view>

namespace data_models2::compiler_helpers {

/// A compiler version as three numbers. All -1 means "unknown", which orders
/// below every real version: a detector that asks "older than X?" treats an
/// unknown compiler as old.
struct CompilerVersion {
  int major = -1;
  int minor = -1;
  int patch = -1;

  friend auto operator<=>(const CompilerVersion&, const CompilerVersion&) = default;
};

/// Parses the first "A[.B[.C]]" run of digits in `text`.
///
/// "2021.10.0" gives 2021, 10, 0. Parts that the text leaves out are 0, so
/// "12.2" gives 12, 2, 0 and "16" gives 16, 0, 0: a compiler that reports
/// "16" is version 16.0.0 and compares equal to it. Leading words are
/// skipped ("gcc 12.2.0" gives 12, 2, 0); whatever follows the third number
/// is ignored. Text without digits, or a number that doesn't fit an int,
/// gives all -1.
CompilerVersion parseVersion(std::string_view text);

}  // namespace data_models2::compiler_helpers
