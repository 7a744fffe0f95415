#include "platform/foundation/json_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace foundation {

bool check_readable_file(const std::string& path, std::string& error) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    error = path + ": " + (errno == ENOENT ? std::string("no such file") : std::strerror(errno));
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    error = path + ": is a directory";
    return false;
  }
  if (!S_ISREG(st.st_mode)) {
    error = path + ": is not a regular file";
    return false;
  }
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  ::close(fd);
  return true;
}

std::size_t utf8_bom_length(std::string_view text) {
  return text.size() >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
}

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// A syntax scanner that keeps its nesting on a vector, not on the call
// stack: a file of a million nested arrays must not take the reader down.
class syntax_scanner_t {
 public:
  explicit syntax_scanner_t(std::string_view text) : text_(text) {}

  /// Offset of the first error, or npos when the structure is sound.
  std::size_t firstError() {
    enum expect_t { value, key, colon, comma_or_end };
    std::vector<char> open;  // '{' or '['
    expect_t expect = value;
    pos_ = utf8_bom_length(text_);
    for (;;) {
      skipBlanks();
      if (pos_ >= text_.size()) return open.empty() && expect == comma_or_end ? npos : pos_;
      const char c = text_[pos_];
      if (open.empty() && expect == comma_or_end) return pos_;  // something behind the document
      switch (expect) {
        case value:
          if (c == '{' || c == '[') {
            open.push_back(c);
            ++pos_;
            skipBlanks();
            if (pos_ < text_.size() && text_[pos_] == (c == '{' ? '}' : ']')) {
              ++pos_;
              open.pop_back();
              expect = comma_or_end;
            } else {
              expect = c == '{' ? key : value;
            }
          } else if (c == '"') {
            if (!string()) return pos_;
            expect = comma_or_end;
          } else if (c == '-' || (c >= '0' && c <= '9')) {
            if (!number()) return pos_;
            expect = comma_or_end;
          } else if (!literal("true") && !literal("false") && !literal("null")) {
            return pos_;
          } else {
            expect = comma_or_end;
          }
          break;
        case key:
          if (c != '"' || !string()) return pos_;
          expect = colon;
          break;
        case colon:
          if (c != ':') return pos_;
          ++pos_;
          expect = value;
          break;
        case comma_or_end:
          if (c == ',') {
            ++pos_;
            expect = open.back() == '{' ? key : value;
          } else if (c == (open.back() == '{' ? '}' : ']')) {
            ++pos_;
            open.pop_back();
          } else {
            return pos_;
          }
          break;
      }
    }
  }

  static constexpr std::size_t npos = std::string_view::npos;

 private:
  void skipBlanks() {
    while (pos_ < text_.size() && isBlank(text_[pos_])) ++pos_;
  }
  bool literal(std::string_view word) {
    if (text_.substr(pos_, word.size()) != word) return false;
    pos_ += word.size();
    return true;
  }
  // Leaves pos_ on the offending byte when false.
  bool string() {
    ++pos_;
    while (pos_ < text_.size()) {
      const unsigned char c = static_cast<unsigned char>(text_[pos_]);
      if (c == '"') {
        ++pos_;
        return true;
      }
      if (c < 0x20) return false;
      if (c == '\\') {
        if (++pos_ >= text_.size()) return false;
        const char e = text_[pos_];
        if (e == 'u') {
          for (int i = 0; i < 4; ++i) {
            if (++pos_ >= text_.size() || !std::isxdigit(static_cast<unsigned char>(text_[pos_]))) return false;
          }
        } else if (std::strchr("\"\\/bfnrt", e) == nullptr || e == '\0') {
          return false;
        }
      }
      ++pos_;
    }
    return false;
  }
  bool digits() {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') ++pos_;
    return pos_ > start;
  }
  bool number() {
    if (text_[pos_] == '-') ++pos_;
    if (pos_ < text_.size() && text_[pos_] == '0') {
      ++pos_;
    } else if (!digits()) {
      return false;
    }
    if (pos_ < text_.size() && text_[pos_] == '.') {
      ++pos_;
      if (!digits()) return false;
    }
    if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
      ++pos_;
      if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) ++pos_;
      if (!digits()) return false;
    }
    return true;
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

}  // namespace

std::string json_syntax_error_place(std::string_view text) {
  syntax_scanner_t scanner(text);
  const std::size_t at = scanner.firstError();
  if (at == syntax_scanner_t::npos) return std::string();
  std::size_t line = 1;
  std::size_t lineStart = 0;
  for (std::size_t i = 0; i < at && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      lineStart = i + 1;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(at - lineStart + 1);
}

std::string escape_control_characters(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buffer;
        } else {
          out.push_back(c);
        }
    }
  }
  return out;
}

}  // namespace foundation
