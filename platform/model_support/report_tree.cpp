#include "platform/model_support/report_tree.h"

#include <cstdio>
#include <utility>

namespace data_models2 {

namespace {

using data_abstractions2::row_t;

constexpr std::uint64_t kFnvOffset = 14695981039346656037ull;
constexpr std::uint64_t kFnvPrime = 1099511628211ull;

void mix(std::uint64_t& hash, std::uint64_t value) {
  // Byte by byte, lowest first, so the fingerprint is the same on every host.
  for (int i = 0; i < 8; ++i) {
    hash ^= (value >> (8 * i)) & 0xffu;
    hash *= kFnvPrime;
  }
}

struct pending_t {
  row_t row;
  std::uint64_t parentId;
  bool hasParent;
};

}  // namespace

ReportTree ReportTree::collect(const foundation::sptr_t<data_abstractions2::IDataset>& dataset) {
  ReportTree tree;
  tree.hash_ = kFnvOffset;
  if (!dataset) return tree;

  std::vector<pending_t> stack;
  std::vector<row_t> level;
  auto pushReversed = [&](foundation::generic_iterator_t<row_t> it, std::uint64_t parentId, bool hasParent) {
    level.clear();
    for (; !it.at_end(); it.next()) level.push_back(it.current());
    for (auto r = level.rbegin(); r != level.rend(); ++r) stack.push_back({*r, parentId, hasParent});
  };
  pushReversed(dataset->getRoots(), 0, false);

  while (!stack.empty()) {
    pending_t item = std::move(stack.back());
    stack.pop_back();
    if (!item.row) continue;
    const std::uint64_t id = item.row->getId();
    if (!tree.index_.emplace(id, tree.rows_.size()).second) continue;
    tree.rows_.push_back({item.row, id});

    // A marker word keeps a root apart from a child of a row whose id
    // happens to be 0.
    mix(tree.hash_, id);
    mix(tree.hash_, item.hasParent ? 1 : 0);
    mix(tree.hash_, item.parentId);

    foundation::generic_iterator_t<row_t> children;
    if (item.row->getChildren(0, 1, children) < 0) continue;
    pushReversed(std::move(children), id, true);
  }
  mix(tree.hash_, tree.rows_.size());
  return tree;
}

std::string ReportTree::fingerprint() const {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash_));
  return text;
}

row_t ReportTree::find(std::uint64_t id) const {
  auto it = index_.find(id);
  return it == index_.end() ? row_t() : rows_[it->second].row;
}

std::size_t ReportTree::position(std::uint64_t id) const {
  auto it = index_.find(id);
  return it == index_.end() ? npos : it->second;
}

}  // namespace data_models2
