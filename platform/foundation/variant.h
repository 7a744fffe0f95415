#pragma once
// `variant_t`: one typed value of a row field or a parameter bag.
//
// Integer kinds keep their width and signedness because readers convert by
// them (an unsigned 64-bit payload converts to double differently from a
// signed one). Every integer kind has a type code of 9 or less, so "is it an
// integer" is one comparison.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace foundation {

class variant_t {
 public:
  enum type_t : unsigned {
    t_i8 = 0,
    t_u8 = 1,
    t_i16 = 2,
    t_u16 = 3,
    t_i32 = 4,
    t_u32 = 5,
    t_i64 = 6,
    t_u64 = 7,
    // 8 and 9 are kept free for further integer kinds.
    t_f32 = 10,
    t_f64 = 11,
    t_bool = 12,
    t_text = 13,
    t_empty = 14,
  };
  static constexpr unsigned last_integer_type = 9;

  variant_t() = default;
  variant_t(bool v) : type_(t_bool), bits_(v ? 1u : 0u) {}
  variant_t(double v) : type_(t_f64), real_(v) {}
  variant_t(float v) : type_(t_f32), real_(v) {}
  variant_t(const char* v) : type_(t_text), text_(v ? v : "") {}
  variant_t(std::string v) : type_(t_text), text_(std::move(v)) {}
  variant_t(std::string_view v) : type_(t_text), text_(v) {}

  template <class I, std::enable_if_t<std::is_integral_v<I> && !std::is_same_v<I, bool> &&
                                          !std::is_same_v<I, char>, int> = 0>
  variant_t(I v) : type_(integer_type_of<I>()) {
    if constexpr (std::is_signed_v<I>) {
      bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(v));
    } else {
      bits_ = static_cast<std::uint64_t>(v);
    }
  }

  /// An integer of an explicit kind; `raw` is the value as a 64-bit pattern
  /// (sign-extended for signed kinds). Truncates to the kind's width.
  static variant_t make_integer(type_t type, std::uint64_t raw);

  type_t type() const { return type_; }
  bool empty() const { return type_ == t_empty; }
  bool is_integer() const { return type_ <= last_integer_type; }
  bool is_signed_integer() const { return is_integer() && (type_ % 2 == 0); }
  bool is_floating() const { return type_ == t_f32 || type_ == t_f64; }
  bool is_bool() const { return type_ == t_bool; }
  bool is_text() const { return type_ == t_text; }

  /// The 64-bit payload of an integer or bool (sign-extended for signed
  /// kinds); 0 for other kinds.
  std::uint64_t raw_bits() const { return (is_integer() || is_bool()) ? bits_ : 0; }
  std::int64_t as_i64() const;
  std::uint64_t as_u64() const;
  /// Integers convert by their signedness; text and empty give 0.0.
  double as_double() const;
  /// Non-zero integers and reals are true; text and empty false.
  bool as_bool() const;
  /// Empty unless the value is text.
  const std::string& text() const { return text_; }

  /// Short name of the kind: "i8" ... "u64", "f32", "f64", "bool", "text", "empty".
  static const char* type_name(type_t type);
  static bool type_from_name(std::string_view name, type_t& out);

  /// Human-readable form, used by logs and the text report.
  std::string to_string() const;

  friend bool operator==(const variant_t& a, const variant_t& b);
  friend bool operator!=(const variant_t& a, const variant_t& b) { return !(a == b); }

 private:
  template <class I>
  static constexpr type_t integer_type_of() {
    constexpr bool s = std::is_signed_v<I>;
    switch (sizeof(I)) {
      case 1: return s ? t_i8 : t_u8;
      case 2: return s ? t_i16 : t_u16;
      case 4: return s ? t_i32 : t_u32;
      default: return s ? t_i64 : t_u64;
    }
  }

  type_t type_ = t_empty;
  union {
    std::uint64_t bits_ = 0;
    double real_;
  };
  std::string text_;
};

}  // namespace foundation
