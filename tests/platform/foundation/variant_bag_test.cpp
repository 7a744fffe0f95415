#include "platform/foundation/variant_bag.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace foundation {
namespace {

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
