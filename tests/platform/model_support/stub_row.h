#pragma once
// A row with nothing behind it, for helpers that only pass a row on or
// lock it.

#include <memory>

#include "data_abstractions2/i_dataset.h"

namespace model_support_tests {

namespace da = data_abstractions2;

class StubRow : public da::INode<da::IRowSpecification> {
 public:
  std::uint64_t getId() const override { return 1; }
  da::sptr_t<da::IMetadata> getMetadata() const override { return nullptr; }
  node_ptr getParent() const override { return nullptr; }
  int getChildren(int, int, da::generic_iterator_t<node_ptr>&) const override { return -1; }
  da::row_lock_t lockRow() const override { return std::make_unique<boost::unique_lock<boost::recursive_mutex>>(m); }
  da::generic_iterator_t<da::sptr_t<da::IIssueEx>> rowIssues() const override { return {}; }
  da::generic_iterator_t<da::sptr_t<da::ITrait>> rowTraits() const override { return {}; }
  void addRowIssue(const da::sptr_t<da::IIssueEx>&) override {}
  void clearRowIssues() override {}
  void addRowTrait(const da::sptr_t<da::ITrait>&) override {}
  void clearRowTraits() override {}
  mutable boost::recursive_mutex m;
};

inline da::row_t stubRow() { return foundation::pool_allocate<StubRow, da::INode<da::IRowSpecification>>(); }

}  // namespace model_support_tests
