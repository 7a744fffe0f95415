#include "platform/foundation/variant.h"
#include "platform/foundation/variant_bag.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace foundation {
namespace {

using T = variant_t::type_t;

struct IntegerCase {
  T type;
  std::uint64_t raw;
  std::int64_t asI64;
  double asDouble;
  const char* text;
};

// make_integer must cut the payload to the kind's width and sign-extend
// signed kinds; readers then convert by signedness.
class MakeIntegerTest : public ::testing::TestWithParam<IntegerCase> {};

TEST_P(MakeIntegerTest, TruncatesAndConvertsBySignedness) {
  const IntegerCase& c = GetParam();
  variant_t v = variant_t::make_integer(c.type, c.raw);
  EXPECT_EQ(v.type(), c.type);
  EXPECT_TRUE(v.is_integer());
  EXPECT_EQ(v.as_i64(), c.asI64);
  EXPECT_DOUBLE_EQ(v.as_double(), c.asDouble);
  EXPECT_EQ(v.to_string(), c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Widths, MakeIntegerTest,
    ::testing::Values(IntegerCase{variant_t::t_i8, 0xff, -1, -1.0, "-1"},
                      IntegerCase{variant_t::t_u8, 0x1ff, 255, 255.0, "255"},
                      IntegerCase{variant_t::t_i16, 0x18000, -32768, -32768.0, "-32768"},
                      IntegerCase{variant_t::t_u16, 0xffff, 65535, 65535.0, "65535"},
                      IntegerCase{variant_t::t_i32, 0xffffffffull, -1, -1.0, "-1"},
                      IntegerCase{variant_t::t_u32, 0x100000001ull, 1, 1.0, "1"},
                      IntegerCase{variant_t::t_i64, ~0ull, -1, -1.0, "-1"},
                      IntegerCase{variant_t::t_u64, ~0ull, -1, 18446744073709551615.0, "18446744073709551615"}));

TEST(VariantTest, MakeIntegerFallsBackToI64ForNonIntegerKinds) {
  for (unsigned type : {8u, 9u, unsigned(variant_t::t_f64), unsigned(variant_t::t_text), 99u}) {
    variant_t v = variant_t::make_integer(static_cast<T>(type), 5);
    EXPECT_EQ(v.type(), variant_t::t_i64) << type;
    EXPECT_EQ(v.as_i64(), 5) << type;
  }
}

TEST(VariantTest, ConstructorPicksKindByWidthAndSign) {
  struct Case {
    variant_t value;
    T type;
  } cases[] = {
      {variant_t(std::int8_t(-3)), variant_t::t_i8},     {variant_t(std::uint8_t(3)), variant_t::t_u8},
      {variant_t(std::int16_t(-3)), variant_t::t_i16},   {variant_t(std::uint16_t(3)), variant_t::t_u16},
      {variant_t(-3), variant_t::t_i32},                 {variant_t(3u), variant_t::t_u32},
      {variant_t(std::int64_t(-3)), variant_t::t_i64},   {variant_t(std::uint64_t(3)), variant_t::t_u64},
      {variant_t(true), variant_t::t_bool},              {variant_t(1.5), variant_t::t_f64},
      {variant_t(1.5f), variant_t::t_f32},               {variant_t("x"), variant_t::t_text},
      {variant_t(std::string("x")), variant_t::t_text},  {variant_t(), variant_t::t_empty},
  };
  for (const auto& c : cases) EXPECT_EQ(c.value.type(), c.type) << variant_t::type_name(c.type);
  EXPECT_EQ(variant_t(std::int8_t(-3)).as_i64(), -3);
  EXPECT_EQ(variant_t(std::int16_t(-3)).raw_bits(), ~0ull - 2);
}

TEST(VariantTest, UnsignedTopBitIsNotNegative) {
  const std::uint64_t big = std::numeric_limits<std::uint64_t>::max();
  EXPECT_GT(variant_t(big).as_double(), 1e19);
  EXPECT_EQ(variant_t(big).as_u64(), big);
  EXPECT_LT(variant_t(std::int64_t(-1)).as_double(), 0.0);
}

TEST(VariantTest, ConversionsOfNonIntegerKinds) {
  EXPECT_EQ(variant_t(-2.9).as_i64(), -2);
  EXPECT_EQ(variant_t(-2.9).as_u64(), 0u);
  EXPECT_EQ(variant_t(2.9).as_u64(), 2u);
  EXPECT_DOUBLE_EQ(variant_t(true).as_double(), 1.0);
  EXPECT_DOUBLE_EQ(variant_t("12").as_double(), 0.0);
  EXPECT_DOUBLE_EQ(variant_t().as_double(), 0.0);
  EXPECT_FALSE(variant_t("true").as_bool());
  EXPECT_FALSE(variant_t(0.0).as_bool());
  EXPECT_TRUE(variant_t(0.5).as_bool());
  EXPECT_TRUE(variant_t(std::uint8_t(1)).as_bool());
  EXPECT_EQ(variant_t(1.5).raw_bits(), 0u);
  EXPECT_EQ(variant_t(7).text(), "");
  EXPECT_EQ(variant_t(false).to_string(), "false");
  EXPECT_EQ(variant_t(0.25).to_string(), "0.25");
  EXPECT_EQ(variant_t().to_string(), "");
}

TEST(VariantTest, TypeNamesRoundTripAndHolesAreUnknown) {
  int named = 0;
  for (unsigned i = 0; i <= variant_t::t_empty; ++i) {
    const char* name = variant_t::type_name(static_cast<T>(i));
    if (name[0] == '\0') continue;
    ++named;
    T back = variant_t::t_empty;
    ASSERT_TRUE(variant_t::type_from_name(name, back)) << name;
    EXPECT_EQ(back, static_cast<T>(i));
  }
  EXPECT_EQ(named, 13);
  T out = variant_t::t_bool;
  // The unused codes 8 and 9 have empty names, which must not match "".
  for (const char* bad : {"", "i9", "I8", "f32 ", "string"}) {
    EXPECT_FALSE(variant_t::type_from_name(bad, out)) << '"' << bad << '"';
  }
  EXPECT_EQ(out, variant_t::t_bool);
  EXPECT_STREQ(variant_t::type_name(static_cast<T>(40)), "");
}

TEST(VariantTest, EqualityNeedsSameKindAndValue) {
  struct Case {
    variant_t a, b;
    bool equal;
  } cases[] = {
      {variant_t(1), variant_t(1), true},
      {variant_t(1), variant_t(std::int64_t(1)), false},
      {variant_t(1), variant_t(1u), false},
      {variant_t(1.0), variant_t(1.0f), false},
      {variant_t(1.0), variant_t(1), false},
      {variant_t(0.5), variant_t(0.5), true},
      {variant_t("a"), variant_t(std::string("a")), true},
      {variant_t("a"), variant_t("b"), false},
      {variant_t(), variant_t(), true},
      {variant_t(), variant_t(""), false},
      {variant_t(true), variant_t(true), true},
      {variant_t(true), variant_t(1), false},
      {variant_t::make_integer(variant_t::t_u8, 0x101), variant_t(std::uint8_t(1)), true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.a == c.b, c.equal) << c.a.to_string() << " vs " << c.b.to_string();
    EXPECT_EQ(c.a != c.b, !c.equal);
  }
}

TEST(VariantTest, CopiesKeepText) {
  variant_t a(std::string(100, 'x'));
  variant_t b = a;
  a = variant_t(3);
  EXPECT_EQ(b.text(), std::string(100, 'x'));
  EXPECT_TRUE(a.text().empty());
}

std::vector<std::string> keysOf(const variant_bag_t& bag) {
  std::vector<std::string> keys;
  for (const auto& entry : bag.values()) keys.push_back(entry.first);
  return keys;
}

TEST(VariantBagTest, PutReplacesInPlaceAndKeepsInsertionOrder) {
  variant_bag_t bag;
  for (const char* key : {"zeta", "alpha", "mid"}) bag.put(key, key);
  bag.put("alpha", "changed");
  EXPECT_EQ(keysOf(bag), (std::vector<std::string>{"zeta", "alpha", "mid"}));
  ASSERT_NE(bag.get("alpha"), nullptr);
  EXPECT_EQ(*bag.get("alpha"), variant_t("changed"));
  EXPECT_EQ(bag.get("missing"), nullptr);
  bag.add_variant_bag("z");
  bag.add_variant_bag("a");
  EXPECT_EQ(bag.bags().front().first, "z");
  EXPECT_EQ(bag.bags().back().first, "a");

  bag.clear();
  EXPECT_TRUE(bag.empty());
  EXPECT_EQ(bag, variant_bag_t());
  bag.add_variant_bag("x");
  EXPECT_FALSE(bag.empty());
}

TEST(VariantBagTest, NullKeyIsTheEmptyKey) {
  variant_bag_t bag;
  bag.put(static_cast<const char*>(nullptr), 1);
  bag.add_variant_bag(static_cast<const char*>(nullptr));
  ASSERT_NE(bag.get(""), nullptr);
  EXPECT_EQ(bag.count_bags(""), 1u);
}

TEST(VariantBagTest, SubBagReferencesSurviveFurtherAdds) {
  variant_bag_t bag;
  variant_bag_t& first = bag.add_variant_bag("item");
  first.put("n", 0);
  std::vector<variant_bag_t*> added{&first};
  for (int i = 1; i < 1000; ++i) {
    variant_bag_t& item = bag.add_variant_bag(i % 2 ? "item" : "other");
    item.put("n", i);
    added.push_back(&item);
  }
  // Writing through the first reference after many appends must land in the
  // stored bag, not in freed memory.
  first.put("late", true);
  EXPECT_EQ(bag.count_bags("item"), 501u);
  EXPECT_EQ(bag.count_bags("other"), 499u);
  ASSERT_NE(bag.get_bag("item"), nullptr);
  EXPECT_NE(bag.get_bag("item")->get("late"), nullptr);
  int n = 0;
  for (const auto& entry : bag.bags()) {
    EXPECT_EQ(&entry.second, added[n]);
    EXPECT_EQ(entry.second.get("n")->as_i64(), n);
    ++n;
  }
}

TEST(VariantBagTest, AddCopiesTheGivenBag) {
  variant_bag_t source;
  source.put("x", 1);
  variant_bag_t bag;
  variant_bag_t& stored = bag.add_variant_bag("child", source);
  source.put("x", 2);
  EXPECT_EQ(stored.get("x")->as_i64(), 1);
  EXPECT_EQ(bag.get_bag("child"), &stored);
  EXPECT_EQ(bag.get_bag("none"), nullptr);
}

variant_bag_t nested(int leaf) {
  variant_bag_t bag;
  bag.put("k", 1);
  bag.add_variant_bag("list").put("leaf", leaf);
  return bag;
}

TEST(VariantBagTest, EqualityLooksIntoSubBags) {
  EXPECT_EQ(nested(1), nested(1));
  EXPECT_NE(nested(1), nested(2));
  EXPECT_EQ(variant_bag_t(), variant_bag_t());
  EXPECT_NE(nested(1), variant_bag_t());

  variant_bag_t differentKind = nested(1);
  differentKind.put("k", 1u);
  EXPECT_NE(differentKind, nested(1));

  variant_bag_t extraBag = nested(1);
  extraBag.add_variant_bag("list");
  EXPECT_NE(extraBag, nested(1));
}

}  // namespace
}  // namespace foundation
