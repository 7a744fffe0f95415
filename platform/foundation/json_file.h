#pragma once
// What every reader of a JSON file of ours needs before and after the
// parser: the real reason a file cannot be read, a byte order mark that
// editors put in front, the place of a syntax error in a file too large to
// look through by hand, and input quoted safely in messages.

#include <cstddef>
#include <string>
#include <string_view>

namespace foundation {

/// True when `path` names a regular file this process may read. Otherwise
/// false with `error` = "<path>: <reason>": "no such file", "is a
/// directory", "is not a regular file" (a FIFO or device, which a reader
/// would block on), or the system's reason ("Permission denied").
bool check_readable_file(const std::string& path, std::string& error);

/// 3 when `text` starts with the UTF-8 byte order mark, else 0.
std::size_t utf8_bom_length(std::string_view text);

/// Where the first syntax error of a JSON text stands, as "line L, column
/// C" (1-based; columns count bytes), found by one pass over the text's
/// structure. Empty when the structure is sound, so that the parser's fault
/// lies elsewhere (a number out of range, invalid UTF-8 inside a string).
std::string json_syntax_error_place(std::string_view text);

/// `text` fit for a one-line message to a terminal: control characters
/// escaped as in JSON ("\u001b", "\n"), other bytes as they are.
std::string escape_control_characters(std::string_view text);

}  // namespace foundation
