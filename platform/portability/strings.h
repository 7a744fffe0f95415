#pragma once
// Text helpers of the portability layer. Texts are UTF-8 byte strings
// (`ustring8`); the helpers work on bytes and never split a multi-byte
// character, because every byte they look at is ASCII.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace portability {

/// A UTF-8 text. An alias, so that any std::string is one.
using ustring8 = std::string;

/// Lower-cases ASCII letters; every other byte, UTF-8 sequences included,
/// is kept as it is. Compiler and ISA names are ASCII, and a locale-aware
/// lowering would make a scan depend on the host's locale.
ustring8 to_lower(std::string_view text);

/// Replaces every occurrence of `from` by `to`, scanning left to right
/// without rescanning inserted text ("aaa", "a", "aa" gives "aaaaaa").
/// An empty `from` leaves the text unchanged.
ustring8 replace_all(std::string_view text, std::string_view from, std::string_view to);

/// Splits at every occurrence of `separator`. Empty pieces are kept, so
/// "a;;b" gives {"a", "", "b"} and a trailing separator gives a trailing
/// empty piece. An empty text gives an empty list; an empty separator
/// gives the whole text as one piece.
std::vector<ustring8> split_string(std::string_view text, std::string_view separator);

/// Reads a decimal integer: an optional '+' or '-', then one or more
/// digits, and nothing else (no spaces, no radix prefix). On success
/// stores the value and returns true. On failure, overflow included,
/// stores 0 and returns false, so a caller that ignores the answer reads
/// a bad number as 0.
bool str_to_int(std::string_view text, std::int64_t& value);
bool str_to_int(std::string_view text, int& value);

}  // namespace portability
