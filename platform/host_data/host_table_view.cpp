#include "platform/host_data/host_table_view.h"

namespace host_data {

data_abstractions2::column_t HostTableView::getColumn(data_abstractions2::FieldId id) const {
  return table_->getColumn(id);
}

bool HostTableView::getValue(std::size_t index, data_abstractions2::column_t column,
                             foundation::variant_t& value) const {
  if (index >= indices_.size() || column == data_abstractions2::kNoColumn) return false;
  const foundation::variant_t* found = table_->rowAt(static_cast<std::size_t>(indices_[index])).findField(column);
  if (!found) return false;
  value = *found;
  return true;
}

}  // namespace host_data
