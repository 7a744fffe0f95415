#pragma once
// Reading what the compiler reports about itself.

#include <compare>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/// The options of a compile-flags text, each with its arguments.
///
/// An option begins at a word that starts with '-' or '/' and takes the
/// words after it up to the next such word, joined by one blank: "-O3
/// -fp-model precise /Qxhost" gives "-O3", "-fp-model precise", "/Qxhost".
/// Double quotes keep blanks inside a word. Words before the first option
/// form an option of their own.
std::vector<std::string> splitCompilerOptions(std::string_view flags);

/// True when one of the regular expressions `patterns` (ECMAScript syntax)
/// is found in one of the options of `flags` (splitCompilerOptions), leading
/// '-' or '/' and arguments included: "fp-model\s+strict" finds
/// "-fp-model strict", and "-fp-model\s+strict" does not find
/// "/fp-model strict". With `ignoreCase` letters match in either case, so
/// "(Q)?xHOST" finds "-xHost" and "CORE-AVX2" finds "-march=core-avx2"; the
/// detectors ask so. A pattern that is not a valid expression matches
/// nothing. Each list of patterns is compiled once per process and kept;
/// the function may be called from several threads.
bool hasAnyOfCompilerFlags(std::string_view flags, const std::vector<std::string>& patterns, bool ignoreCase);

/// A short English text of what a non-vectorization diagnostic number of
/// the compiler says, for showing when the catalogue has no entry of its
/// own for the number. True for a number that has its own text; any other
/// number gets a text that names the number, and false.
bool getCompilerNonVectorizationMessage(int number, std::string& message);

/// The compiler's main vector type of a loop (the MainVectType field): the
/// kind of element that sets the loop's vector length.
enum LoopMainVectType : int {
  MainVectUnknown = 0,
  MainVectInt8 = 1,      ///< 8-bit integers, signed or not
  MainVectInt16 = 2,
  MainVectInt32 = 3,
  MainVectInt64 = 4,
  MainVectFloat32 = 5,
  MainVectFloat64 = 6,
  MainVectComplex64 = 7,   ///< pairs of float32
  MainVectComplex128 = 8,  ///< pairs of float64
  MainVectFloat16 = 9,
};

/// The data types a main vector type stands for, as pairs of a lower-case
/// name that isa_helpers::getTypeMaxWidth reads ("int32") and the name shown
/// to users ("Int32"); integer types list the signed type first, then the
/// unsigned one ("uint32", "UInt32"). Empty for MainVectUnknown and numbers
/// outside the enumeration.
std::vector<std::pair<std::string, std::string>> getDataTypesEqualTo(int mainVectType);

}  // namespace data_models2::compiler_helpers
