#pragma once
// Rows of a result tree, and the store of findings on each row.

#include <cstdint>

#include "data_abstractions2/common.h"
#include "data_abstractions2/i_records.h"

namespace data_abstractions2 {

/// Type bits of a row.
class IMetadata : public ref_countable_t {
 public:
  using type_t = std::uint64_t;
  enum : type_t {
    TypeSkipped = 2,        ///< the scan leaves the row alone
    TypeLoop = 4,
    TypeSplitLoop = 8,      ///< a loop the compiler split into parts (its children)
    TypeInnermost = 16,
    TypePeelPart = 32,
    TypeRemainderPart = 64,
    TypeVectorBodyPart = 128,
    TypeMarked = 1024,      ///< findings of the row get the flag 32
  };

  virtual type_t getType() const = 0;
  /// True when the row's type and `bits` have a bit in common.
  bool hasType(type_t bits) const { return (getType() & bits) != 0; }
};

struct IRowSpecification {};

template <class Kind>
class INode : public ref_countable_t {
 public:
  using node_ptr = sptr_t<INode<Kind>>;

  /// Id of the row, unique within its dataset.
  virtual std::uint64_t getId() const = 0;
  virtual sptr_t<IMetadata> getMetadata() const = 0;
  virtual node_ptr getParent() const = 0;
  /// Points `children` at the row's children in tree order and returns their
  /// count; -1 when the row cannot give them. `filter` 0 means all children,
  /// `flags` 1 means direct children only.
  virtual int getChildren(int filter, int flags, generic_iterator_t<node_ptr>& children) const = 0;

  // The row's findings. Writers and readers that must see a consistent list
  // hold the lock; it is recursive.
  virtual row_lock_t lockRow() const = 0;
  virtual generic_iterator_t<sptr_t<IIssueEx>> rowIssues() const = 0;
  virtual generic_iterator_t<sptr_t<ITrait>> rowTraits() const = 0;
  virtual void addRowIssue(const sptr_t<IIssueEx>& issue) = 0;
  virtual void clearRowIssues() = 0;
  virtual void addRowTrait(const sptr_t<ITrait>& trait) = 0;
  virtual void clearRowTraits() = 0;
};

using row_t = sptr_t<INode<IRowSpecification>>;

}  // namespace data_abstractions2
