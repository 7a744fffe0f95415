#pragma once
// `HostNode`: one row of a loaded result, with its fields, its place in the
// tree and the store of the findings the library puts on it.
//
// Rows do not count references of their own: `add_ref` and `release` go to
// the dataset that holds them. A `row_t` therefore keeps its whole tree alive,
// parents and children never own each other, and freeing a tree is a loop
// over a container rather than a chain of destructors as deep as the tree.
//
// The findings store is safe to use from several threads: every operation
// takes the row's recursive lock, so a caller that already holds `lockRow` may
// call them freely. Iterators returned by `rowIssues` and `rowTraits` are
// snapshots; later writes do not change what they walk.

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "data_abstractions2/i_node.h"
#include "platform/host_data/host_metadata.h"
#include "platform/host_data/row_data.h"

namespace host_data {

class HostDataset;

class HostNode final : public data_abstractions2::INode<data_abstractions2::IRowSpecification> {
 public:
  using IIssueEx = data_abstractions2::IIssueEx;
  using ITrait = data_abstractions2::ITrait;
  template <class T>
  using sptr_t = foundation::sptr_t<T>;
  template <class T>
  using generic_iterator_t = foundation::generic_iterator_t<T>;

  HostNode(const HostDataset* owner, std::uint64_t id);
  HostNode(const HostNode&) = delete;
  HostNode& operator=(const HostNode&) = delete;

  void add_ref() const override;
  void release() const override;

  std::uint64_t getId() const override { return id_; }
  sptr_t<data_abstractions2::IMetadata> getMetadata() const override;
  node_ptr getParent() const override;
  /// `filter` must be 0 (the rows of a loaded result have no filters); with
  /// bit 1 of `flags` the direct children, otherwise all descendants, parents
  /// before children.
  int getChildren(int filter, int flags, generic_iterator_t<node_ptr>& children) const override;

  foundation::row_lock_t lockRow() const override;
  generic_iterator_t<sptr_t<IIssueEx>> rowIssues() const override;
  generic_iterator_t<sptr_t<ITrait>> rowTraits() const override;
  void addRowIssue(const sptr_t<IIssueEx>& issue) override;
  void clearRowIssues() override;
  void addRowTrait(const sptr_t<ITrait>& trait) override;
  void clearRowTraits() override;

  const HostDataset* owner() const { return owner_; }
  HostNode* parent() const { return parent_; }
  const std::vector<HostNode*>& children() const { return children_; }
  data_abstractions2::IMetadata::type_t type() const { return metadata_.getType(); }
  /// The value of a field, or null when the row has none.
  const foundation::variant_t* findField(int id) const;
  /// Per-row data beyond fields, or null when the row has none.
  const RowData* data() const { return data_.get(); }

  // Building, by the loader only, before the row is handed out.
  void setType(data_abstractions2::IMetadata::type_t type) { metadata_.setType(type); }
  void setParent(HostNode* parent) { parent_ = parent; }
  void addChild(HostNode* child) { children_.push_back(child); }
  /// False when the row already has a value for `id`.
  bool addField(int id, foundation::variant_t value);
  /// Sorts the fields for lookup; call once all are added.
  void finishFields();
  RowData& mutableData();

 private:
  template <class T>
  using shared_list_t = std::shared_ptr<std::vector<sptr_t<T>>>;

  template <class T>
  static void appendTo(shared_list_t<T>& list, const sptr_t<T>& item);

  const HostDataset* owner_;
  std::uint64_t id_;
  HostMetadata metadata_;
  HostNode* parent_ = nullptr;
  std::vector<HostNode*> children_;
  std::vector<std::pair<int, foundation::variant_t>> fields_;
  std::unique_ptr<RowData> data_;

  mutable foundation::mutex_t mutex_;
  shared_list_t<IIssueEx> issues_;
  shared_list_t<ITrait> traits_;
};

}  // namespace host_data
