#pragma once
// Message catalogues: texts looked up by key, with numbered placeholders
// filled from a short argument list.
//
// A catalogue file is a PO file whose msgctxt is the message key (see
// docs/message-catalog.md). A sample entry:
//
//   #. %1: name of the variable
//   msgctxt "example_rec_text"
//   msgid "Store %1 in a smaller type."
//   msgstr ""
//
// The text of an entry is its msgstr, or its msgid while the msgstr is empty
// or marked fuzzy, so an untranslated catalogue reads as the English one.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <array>
#include <map>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/portability/strings.h"

namespace portability {

/// The value of one message argument: nothing, an integer, a floating
/// value or a text. Implicit construction keeps call sites short:
/// `translate(key, count, name)`.
class variant {
 public:
  enum kind_t : unsigned { nil = 0, integer = 1, floating = 2, text = 3 };

  variant() = default;
  variant(const char* v) : kind_(v ? text : nil), text_(v ? v : "") {}
  variant(ustring8 v) : kind_(text), text_(std::move(v)) {}
  variant(std::string_view v) : kind_(text), text_(v) {}
  variant(double v) : kind_(floating), real_(v) {}
  variant(float v) : kind_(floating), real_(v) {}
  template <class I, std::enable_if_t<std::is_integral_v<I> && !std::is_same_v<I, char>, int> = 0>
  variant(I v) : kind_(integer), unsigned_(std::is_unsigned_v<I>) {
    if constexpr (std::is_unsigned_v<I>) {
      bits_ = static_cast<std::uint64_t>(v);
    } else {
      bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(v));
    }
  }

  kind_t kind() const { return kind_; }
  bool is_nil() const { return kind_ == nil; }

  /// The value as it stands in a message: integers in decimal (unsigned
  /// kinds as unsigned), floating values in the shortest form that reads
  /// back to the same value ("0.1", "1e-05"), texts as they are, nil empty.
  ustring8 as_ustring() const;

 private:
  kind_t kind_ = nil;
  bool unsigned_ = false;
  std::uint64_t bits_ = 0;
  double real_ = 0.0;
  ustring8 text_;
};

/// One named argument. A message text refers to it by its name, which is
/// '%' followed by decimal digits: "%1", "%2", "%12".
struct argument {
  ustring8 name;
  variant value;

  argument() = default;
  argument(ustring8 n, variant v) : name(std::move(n)), value(std::move(v)) {}
};

/// A fixed-length argument list: `max_size` (8) places, filled from the
/// front, the places behind the last argument hold a nil argument. Eight
/// is more than any message needs; the translation helpers fill three.
class varg_list {
 public:
  static constexpr std::size_t max_size = 8;

  varg_list() = default;
  /// Arguments past `max_size` are dropped, through the assertion macro.
  varg_list(std::initializer_list<argument> args);

  /// Puts the argument into the first free place; false when all are used.
  bool push_back(argument arg);
  /// Places in use.
  std::size_t size() const { return size_; }
  /// Any place below `max_size`; unused places are a nil argument.
  const argument& operator[](std::size_t index) const { return places_[index]; }

  /// The value of the first argument of that name whose value is not nil,
  /// or null: a nil argument counts as not given.
  const variant* find(std::string_view name) const;

 private:
  std::array<argument, max_size> places_{};
  std::size_t size_ = 0;
};

/// One catalogue text, ready to be filled.
class message_t {
 public:
  message_t() = default;
  explicit message_t(ustring8 text) : text_(std::move(text)) {}

  const ustring8& text() const { return text_; }

  /// The text with its placeholders filled, in one pass from the left:
  /// - "%%" is one literal '%';
  /// - '%' and the longest run of digits behind it is a placeholder; when
  ///   `args` has a non-nil argument of exactly that name ("%1"), its value
  ///   replaces the placeholder, otherwise the placeholder stays as written,
  ///   so a missing argument shows up in the text instead of vanishing;
  /// - any other '%' stays as it is ("50% of the time");
  /// - inserted values are not scanned again, so a value may hold '%'.
  /// Arguments that the text does not name are ignored.
  ustring8 as_ustring(const varg_list& args = varg_list()) const;

 private:
  ustring8 text_;
};

/// Where and why a catalogue could not be read.
struct catalog_error_t {
  ustring8 file;
  /// 1-based line of the fault; 0 when the fault is the file as a whole.
  unsigned line = 0;
  ustring8 reason;

  /// "file:line: reason", or "file: reason" without a line.
  ustring8 to_ustring() const;
};

/// The texts of one catalogue, by key. Immutable once built, so it is
/// shared between threads without locking.
class catalog_t {
 public:
  catalog_t(ustring8 name, std::map<ustring8, ustring8> texts)
      : name_(std::move(name)), texts_(std::move(texts)) {}

  const ustring8& name() const { return name_; }
  bool has_message(const ustring8& key) const { return texts_.count(key) != 0; }
  /// The message of `key`; an empty message when the key is missing.
  message_t message(const ustring8& key) const;
  std::size_t size() const { return texts_.size(); }
  /// All keys, sorted.
  std::vector<ustring8> keys() const;

 private:
  ustring8 name_;
  std::map<ustring8, ustring8> texts_;
};

/// Reads catalogue text. `file` only names the source in an error. On a
/// fault returns null and fills `error`; the first fault ends the reading,
/// because a half-read catalogue would show keys instead of texts without
/// saying why.
std::shared_ptr<const catalog_t> parse_catalog(const ustring8& name, std::string_view text,
                                               std::string_view file, catalog_error_t& error);

/// Reads the catalogue file at `path`; an unreadable file is an error of
/// the file as a whole.
std::shared_ptr<const catalog_t> load_catalog(const ustring8& name, const ustring8& path,
                                              catalog_error_t& error);

}  // namespace portability
