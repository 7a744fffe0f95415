#pragma once
// `HostMetadata`: the type word of one row.
//
// It lives inside its row and shares the row's reference count (which is the
// dataset's), so a `sptr_t<IMetadata>` keeps the whole tree alive, exactly as
// a `row_t` does.

#include "data_abstractions2/i_node.h"

namespace host_data {

class HostMetadata final : public data_abstractions2::IMetadata {
 public:
  explicit HostMetadata(const foundation::ref_countable_t* owner) : owner_(owner) {}

  void add_ref() const override { owner_->add_ref(); }
  void release() const override { owner_->release(); }

  type_t getType() const override { return type_; }
  void setType(type_t type) { type_ = type; }

 private:
  const foundation::ref_countable_t* owner_;
  type_t type_ = 0;
};

}  // namespace host_data
