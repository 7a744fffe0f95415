#pragma once
// `HostTableView`: a selection of records of one loop-manager table, such as
// the dependency records of one loop. Index i of the view is the i-th index
// it was made with.

#include <vector>

#include "data_abstractions2/i_loop_manager.h"
#include "platform/host_data/host_dataset.h"

namespace host_data {

class HostTableView : public data_abstractions2::ITableView {
 public:
  /// `indices` must all be load indices of `table`.
  HostTableView(foundation::sptr_t<HostDataset> table, std::vector<int> indices)
      : table_(std::move(table)), indices_(std::move(indices)) {}

  data_abstractions2::column_t getColumn(data_abstractions2::FieldId id) const override;
  std::size_t rowCount() const override { return indices_.size(); }
  bool getValue(std::size_t index, data_abstractions2::column_t column, foundation::variant_t& value) const override;

 private:
  foundation::sptr_t<HostDataset> table_;
  std::vector<int> indices_;
};

}  // namespace host_data
