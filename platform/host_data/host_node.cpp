#include "platform/host_data/host_node.h"

#include <algorithm>

#include "platform/host_data/host_dataset.h"

namespace host_data {

using data_abstractions2::IMetadata;

HostNode::HostNode(const HostDataset* owner, std::uint64_t id) : owner_(owner), id_(id), metadata_(owner) {}

void HostNode::add_ref() const { owner_->add_ref(); }
void HostNode::release() const { owner_->release(); }

foundation::sptr_t<IMetadata> HostNode::getMetadata() const {
  return foundation::sptr_t<IMetadata>(const_cast<HostMetadata*>(&metadata_));
}

HostNode::node_ptr HostNode::getParent() const { return node_ptr(parent_); }

int HostNode::getChildren(int filter, int flags, generic_iterator_t<node_ptr>& children) const {
  if (filter != 0) return -1;
  std::vector<node_ptr> out;
  if (flags & 1) {
    out.assign(children_.begin(), children_.end());
  } else {
    // Explicit stack: trees of a result can be deeper than the call stack.
    std::vector<const HostNode*> pending(children_.rbegin(), children_.rend());
    while (!pending.empty()) {
      const HostNode* node = pending.back();
      pending.pop_back();
      out.emplace_back(const_cast<HostNode*>(node));
      pending.insert(pending.end(), node->children_.rbegin(), node->children_.rend());
    }
  }
  const int count = static_cast<int>(out.size());
  children = generic_iterator_t<node_ptr>(std::move(out));
  return count;
}

foundation::row_lock_t HostNode::lockRow() const {
  return std::make_unique<boost::unique_lock<boost::recursive_mutex>>(mutex_);
}

template <class T>
void HostNode::appendTo(shared_list_t<T>& list, const sptr_t<T>& item) {
  // Copy on write: a snapshot handed out by rowIssues/rowTraits keeps the old
  // vector, so appending must not touch a vector anyone else still holds.
  if (!list) {
    list = std::make_shared<std::vector<sptr_t<T>>>();
  } else if (list.use_count() > 1) {
    list = std::make_shared<std::vector<sptr_t<T>>>(*list);
  }
  list->push_back(item);
}

foundation::generic_iterator_t<foundation::sptr_t<data_abstractions2::IIssueEx>> HostNode::rowIssues() const {
  boost::unique_lock<boost::recursive_mutex> lock(mutex_);
  return generic_iterator_t<sptr_t<IIssueEx>>(issues_);
}

foundation::generic_iterator_t<foundation::sptr_t<data_abstractions2::ITrait>> HostNode::rowTraits() const {
  boost::unique_lock<boost::recursive_mutex> lock(mutex_);
  return generic_iterator_t<sptr_t<ITrait>>(traits_);
}

void HostNode::addRowIssue(const sptr_t<IIssueEx>& issue) {
  boost::unique_lock<boost::recursive_mutex> lock(mutex_);
  appendTo(issues_, issue);
}

void HostNode::clearRowIssues() {
  boost::unique_lock<boost::recursive_mutex> lock(mutex_);
  issues_.reset();
}

void HostNode::addRowTrait(const sptr_t<ITrait>& trait) {
  boost::unique_lock<boost::recursive_mutex> lock(mutex_);
  appendTo(traits_, trait);
}

void HostNode::clearRowTraits() {
  boost::unique_lock<boost::recursive_mutex> lock(mutex_);
  traits_.reset();
}

const foundation::variant_t* HostNode::findField(int id) const {
  auto it = std::lower_bound(fields_.begin(), fields_.end(), id,
                             [](const auto& entry, int key) { return entry.first < key; });
  return (it != fields_.end() && it->first == id) ? &it->second : nullptr;
}

bool HostNode::addField(int id, foundation::variant_t value) {
  // Rows have a few dozen fields at most; a scan beats a set here.
  for (const auto& entry : fields_) {
    if (entry.first == id) return false;
  }
  fields_.emplace_back(id, std::move(value));
  return true;
}

void HostNode::finishFields() {
  std::sort(fields_.begin(), fields_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  fields_.shrink_to_fit();
}

RowData& HostNode::mutableData() {
  if (!data_) data_ = std::make_unique<RowData>();
  return *data_;
}

}  // namespace host_data
