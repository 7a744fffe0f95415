#include "platform/portability/message_catalog.h"

#include <charconv>
#include <fstream>
#include <optional>
#include <sstream>

#include "platform/portability/assert.h"

namespace portability {

ustring8 variant::as_ustring() const {
  char buffer[64];
  switch (kind_) {
    case nil:
      return {};
    case integer: {
      auto result = unsigned_ ? std::to_chars(buffer, buffer + sizeof buffer, bits_)
                              : std::to_chars(buffer, buffer + sizeof buffer, static_cast<std::int64_t>(bits_));
      return ustring8(buffer, result.ptr);
    }
    case floating: {
      auto result = std::to_chars(buffer, buffer + sizeof buffer, real_);
      return ustring8(buffer, result.ptr);
    }
    case text:
      return text_;
  }
  return {};
}

varg_list::varg_list(std::initializer_list<argument> args) {
  for (const argument& arg : args) {
    bool stored = push_back(arg);
    NIMB_ASSERT_TEXT(stored, "varg_list holds at most max_size arguments");
    if (!stored) break;
  }
}

bool varg_list::push_back(argument arg) {
  if (size_ == max_size) return false;
  places_[size_++] = std::move(arg);
  return true;
}

const variant* varg_list::find(std::string_view name) const {
  for (std::size_t i = 0; i < size_; ++i) {
    if (places_[i].name == name && !places_[i].value.is_nil()) return &places_[i].value;
  }
  return nullptr;
}

ustring8 message_t::as_ustring(const varg_list& args) const {
  ustring8 out;
  out.reserve(text_.size());
  const std::size_t n = text_.size();
  std::size_t i = 0;
  while (i < n) {
    char c = text_[i];
    if (c != '%') {
      out.push_back(c);
      ++i;
      continue;
    }
    if (i + 1 < n && text_[i + 1] == '%') {
      out.push_back('%');
      i += 2;
      continue;
    }
    std::size_t end = i + 1;
    while (end < n && text_[end] >= '0' && text_[end] <= '9') ++end;
    if (end > i + 1) {
      if (const variant* value = args.find(std::string_view(text_).substr(i, end - i))) {
        out += value->as_ustring();
        i = end;
        continue;
      }
      // Keep the whole placeholder: a missing argument should be visible.
      out.append(text_, i, end - i);
      i = end;
      continue;
    }
    out.push_back('%');
    ++i;
  }
  return out;
}

ustring8 catalog_error_t::to_ustring() const {
  std::ostringstream s;
  s << file;
  if (line != 0) s << ':' << line;
  s << ": " << reason;
  return s.str();
}

message_t catalog_t::message(const ustring8& key) const {
  auto it = texts_.find(key);
  return it == texts_.end() ? message_t() : message_t(it->second);
}

std::vector<ustring8> catalog_t::keys() const {
  std::vector<ustring8> out;
  out.reserve(texts_.size());
  for (const auto& entry : texts_) out.push_back(entry.first);
  return out;
}

namespace {

bool is_valid_utf8(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size()) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    std::size_t len = 0;
    std::uint32_t cp = 0;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xE0) == 0xC0) {
      len = 2;
      cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      len = 3;
      cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > s.size()) return false;
    for (std::size_t k = 1; k < len; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      if ((cc & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (cc & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    static constexpr std::uint32_t min_for_len[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < min_for_len[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += len;
  }
  return true;
}

/// Reads the subset of the PO format that a keyed catalogue needs: comments,
/// msgctxt, msgid, msgstr and continuation strings. It rejects plural forms
/// (a finding's text never counts) and every construct it does not know,
/// instead of guessing.
class po_parser_t {
 public:
  po_parser_t(std::string_view text, std::string_view file, catalog_error_t& error)
      : text_(text), error_(error) {
    error_.file = ustring8(file);
  }

  bool parse(std::map<ustring8, ustring8>& texts) {
    // A byte order mark is legal at the start of a UTF-8 file; editors add it.
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") text_.remove_prefix(3);
    std::size_t pos = 0;
    while (pos < text_.size()) {
      std::size_t eol = text_.find('\n', pos);
      if (eol == std::string_view::npos) eol = text_.size();
      std::string_view line = text_.substr(pos, eol - pos);
      ++line_no_;
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
      if (!parse_line(line, texts)) return false;
      pos = eol + 1;
    }
    if (state_ == state_t::after_msgctxt || state_ == state_t::after_msgid) {
      return fail(entry_line_, "entry has no msgstr");
    }
    return finish_entry(texts);
  }

 private:
  enum class state_t { idle, after_msgctxt, after_msgid, after_msgstr };
  enum class field_t { none, msgctxt, msgid, msgstr };

  bool fail(unsigned line, ustring8 reason) {
    error_.line = line;
    error_.reason = std::move(reason);
    return false;
  }

  static std::string_view trim_left(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    return s;
  }

  bool parse_line(std::string_view raw, std::map<ustring8, ustring8>& texts) {
    std::string_view line = trim_left(raw);
    if (line.empty()) return true;
    if (line.front() == '#') return parse_comment(line, texts);
    if (line.front() == '"') {
      if (field_ == field_t::none) return fail(line_no_, "string without a keyword before it");
      ustring8 piece;
      if (!parse_string(line, piece)) return false;
      current_field() += piece;
      return true;
    }
    std::size_t word_end = 0;
    while (word_end < line.size() && line[word_end] != ' ' && line[word_end] != '\t' && line[word_end] != '"') {
      ++word_end;
    }
    std::string_view keyword = line.substr(0, word_end);
    std::string_view rest = trim_left(line.substr(word_end));
    if (keyword == "msgctxt") {
      if (state_ == state_t::after_msgctxt || state_ == state_t::after_msgid) {
        return fail(line_no_, "msgctxt inside an entry; the entry before it has no msgstr");
      }
      if (!finish_entry(texts)) return false;
      start_entry();
      state_ = state_t::after_msgctxt;
      field_ = field_t::msgctxt;
      has_ctxt_ = true;
    } else if (keyword == "msgid") {
      if (state_ == state_t::after_msgid) return fail(line_no_, "second msgid in one entry");
      if (state_ != state_t::after_msgctxt) {
        if (!finish_entry(texts)) return false;
        start_entry();
      }
      state_ = state_t::after_msgid;
      field_ = field_t::msgid;
    } else if (keyword == "msgstr") {
      if (state_ != state_t::after_msgid) return fail(line_no_, "msgstr without a msgid before it");
      state_ = state_t::after_msgstr;
      field_ = field_t::msgstr;
    } else if (keyword == "msgid_plural" || keyword.substr(0, 7) == "msgstr[") {
      return fail(line_no_, "plural forms are not used in this catalogue");
    } else {
      return fail(line_no_, "unknown keyword '" + ustring8(keyword) + "'");
    }
    if (rest.empty() || rest.front() != '"') {
      return fail(line_no_, "'" + ustring8(keyword) + "' must be followed by a quoted string");
    }
    ustring8 piece;
    if (!parse_string(rest, piece)) return false;
    current_field() = std::move(piece);
    return true;
  }

  bool parse_comment(std::string_view line, std::map<ustring8, ustring8>& texts) {
    // "#~" marks an obsolete entry that tools keep for reuse; it is not part
    // of the catalogue.
    if (line.substr(0, 2) == "#~") return true;
    if (state_ == state_t::after_msgctxt || state_ == state_t::after_msgid) {
      return fail(line_no_, "comment inside an entry; comments go before msgctxt");
    }
    // A comment after a finished entry belongs to the next one.
    if (state_ == state_t::after_msgstr) {
      if (!finish_entry(texts)) return false;
      state_ = state_t::idle;
      field_ = field_t::none;
    }
    if (line.substr(0, 2) == "#,") {
      std::string_view flags = line.substr(2);
      // Flags are a comma-separated list; only "fuzzy" matters here.
      for (const ustring8& flag : split_string(flags, ",")) {
        std::string_view f = trim_left(flag);
        while (!f.empty() && (f.back() == ' ' || f.back() == '\t')) f.remove_suffix(1);
        if (f == "fuzzy") pending_fuzzy_ = true;
      }
    }
    return true;
  }

  // Reads one quoted string at the start of `s`; only blanks may follow it.
  bool parse_string(std::string_view s, ustring8& out) {
    std::size_t i = 1;
    for (;;) {
      if (i >= s.size()) return fail(line_no_, "string has no closing quote");
      char c = s[i];
      if (c == '"') break;
      if (c == '\\') {
        if (i + 1 >= s.size()) return fail(line_no_, "string has no closing quote");
        char e = s[i + 1];
        switch (e) {
          case 'n': out.push_back('\n'); break;
          case 't': out.push_back('\t'); break;
          case 'r': out.push_back('\r'); break;
          case '"': out.push_back('"'); break;
          case '\\': out.push_back('\\'); break;
          default:
            return fail(line_no_, "unknown escape '\\" + ustring8(1, e) + "'");
        }
        i += 2;
        continue;
      }
      out.push_back(c);
      ++i;
    }
    std::string_view tail = trim_left(s.substr(i + 1));
    if (!tail.empty()) return fail(line_no_, "text after the closing quote");
    if (!is_valid_utf8(out)) return fail(line_no_, "string is not valid UTF-8");
    return true;
  }

  ustring8& current_field() {
    switch (field_) {
      case field_t::msgctxt: return ctxt_;
      case field_t::msgid: return id_;
      default: return str_;
    }
  }

  void start_entry() {
    entry_line_ = line_no_;
    has_ctxt_ = false;
    ctxt_.clear();
    id_.clear();
    str_.clear();
    fuzzy_ = pending_fuzzy_;
    pending_fuzzy_ = false;
  }

  bool finish_entry(std::map<ustring8, ustring8>& texts) {
    if (state_ != state_t::after_msgstr) return true;
    state_ = state_t::idle;
    field_ = field_t::none;
    if (!has_ctxt_) {
      // The header entry (empty msgid) carries the file's metadata.
      if (id_.empty()) return true;
      return fail(entry_line_, "entry has no msgctxt; the key of a message is its msgctxt");
    }
    if (ctxt_.empty()) return fail(entry_line_, "empty key");
    for (char c : ctxt_) {
      if (static_cast<unsigned char>(c) <= ' ') return fail(entry_line_, "key '" + ctxt_ + "' holds a blank or control character");
    }
    auto [it, inserted] = texts.emplace(ctxt_, (str_.empty() || fuzzy_) ? id_ : str_);
    if (!inserted) {
      return fail(entry_line_, "duplicate key '" + ctxt_ + "', first at line " + std::to_string(key_lines_[ctxt_]));
    }
    key_lines_[ctxt_] = entry_line_;
    return true;
  }

  std::string_view text_;
  catalog_error_t& error_;
  unsigned line_no_ = 0;
  unsigned entry_line_ = 0;
  state_t state_ = state_t::idle;
  field_t field_ = field_t::none;
  bool has_ctxt_ = false;
  bool fuzzy_ = false;
  bool pending_fuzzy_ = false;
  ustring8 ctxt_;
  ustring8 id_;
  ustring8 str_;
  std::map<ustring8, unsigned> key_lines_;
};

}  // namespace

std::shared_ptr<const catalog_t> parse_catalog(const ustring8& name, std::string_view text,
                                               std::string_view file, catalog_error_t& error) {
  error = catalog_error_t();
  std::map<ustring8, ustring8> texts;
  po_parser_t parser(text, file, error);
  if (!parser.parse(texts)) return nullptr;
  error = catalog_error_t();
  return std::make_shared<const catalog_t>(name, std::move(texts));
}

std::shared_ptr<const catalog_t> load_catalog(const ustring8& name, const ustring8& path, catalog_error_t& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = catalog_error_t{path, 0, "cannot be opened"};
    return nullptr;
  }
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) {
    error = catalog_error_t{path, 0, "cannot be read"};
    return nullptr;
  }
  return parse_catalog(name, content.str(), path, error);
}

}  // namespace portability
