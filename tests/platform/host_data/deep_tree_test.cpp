// Trees far deeper than the call stack: loading, walking and freeing them
// must take no stack in proportion to depth.

#include <gtest/gtest.h>

#include <string>

#include "platform/host_data/result_loader.h"

namespace {

namespace da = data_abstractions2;

constexpr std::uint64_t kDepth = 200000;

/// Rows 1..kDepth, each the only child of the one before; with `closed`, the
/// last names the first as its child, which makes the whole chain a cycle.
std::string chain(bool closed) {
  std::string json = R"({"format": "nimbex-result", "version": 1, "bottomUp": {"rows": [)";
  json.reserve(kDepth * 80);
  for (std::uint64_t id = 1; id <= kDepth; ++id) {
    if (id > 1) json += ",\n";
    const std::uint64_t child = id < kDepth ? id + 1 : (closed ? 1 : 0);
    json += R"({"id": )" + std::to_string(id) + R"(, "type": 4, "fields": {"SelfTime": 0.001})";
    if (child) json += R"(, "children": [)" + std::to_string(child) + "]";
    json += "}";
  }
  json += "]}}";
  return json;
}

TEST(DeepTree, ChainOfTwoHundredThousandRowsLoadsAndWalks) {
  host_data::LoadResult loaded = host_data::loadResultText(chain(false), "/deep");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  auto dataset = loaded.models().surveyModel->getDataset(da::BottomUp);
  ASSERT_EQ(dataset->rowCount(), kDepth);

  auto roots = dataset->getRoots();
  ASSERT_EQ(roots.size(), 1u);
  foundation::generic_iterator_t<da::row_t> all;
  EXPECT_EQ(roots.current()->getChildren(0, 0, all), static_cast<int>(kDepth - 1));

  da::row_t leaf = dataset->getRow(kDepth);
  std::uint64_t depth = 0;
  for (da::row_t row = leaf; row; row = row->getParent()) ++depth;
  EXPECT_EQ(depth, kDepth);

  // Release the models while holding the deepest row: the tree must stay,
  // and freeing it afterwards must not recurse through the chain.
  loaded = host_data::LoadResult::failure("released");
  EXPECT_EQ(leaf->getParent()->getId(), kDepth - 1);
  leaf.reset();
}

TEST(DeepTree, CycleAsLongAsTheTreeIsReported) {
  host_data::LoadResult loaded = host_data::loadResultText(chain(true), "/deep");
  ASSERT_FALSE(loaded.ok());
  EXPECT_NE(loaded.error().find("is its own ancestor"), std::string::npos) << loaded.error();
}

}  // namespace
