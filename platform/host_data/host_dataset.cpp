#include "platform/host_data/host_dataset.h"

#include <limits>

namespace host_data {

HostDataset::column_t HostDataset::getColumn(data_abstractions2::FieldId id) const {
  return fields_.count(id) ? static_cast<column_t>(id) : data_abstractions2::kNoColumn;
}

bool HostDataset::getValue(const row_t& row, column_t column, int /*flags*/, foundation::variant_t& value) const {
  if (column == data_abstractions2::kNoColumn) return false;
  const HostNode* node = asHostNode(row);
  if (!node) return false;
  const foundation::variant_t* found = node->findField(column);
  if (!found) return false;
  value = *found;
  return true;
}

foundation::generic_iterator_t<HostDataset::row_t> HostDataset::getRoots() const {
  return foundation::generic_iterator_t<row_t>(std::vector<row_t>(roots_.begin(), roots_.end()));
}

std::uint64_t HostDataset::getRowId(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= rows_.size()) return std::numeric_limits<std::uint64_t>::max();
  return rows_[static_cast<std::size_t>(index)].getId();
}

HostDataset::row_t HostDataset::getRow(std::uint64_t id) const { return row_t(const_cast<HostNode*>(findRow(id))); }

const HostNode* HostDataset::asHostNode(const row_t& row) { return dynamic_cast<const HostNode*>(row.get()); }

bool HostDataset::getRowRoofline(const row_t& row, data_abstractions2::RowRoofline& roofline) const {
  const HostNode* node = asHostNode(row);
  if (!node || !node->data() || !node->data()->roofline) return false;
  roofline = *node->data()->roofline;
  return true;
}

const HostNode* HostDataset::findRow(std::uint64_t id) const {
  auto it = byId_.find(id);
  return it == byId_.end() ? nullptr : it->second;
}

HostNode* HostDataset::mutableFindRow(std::uint64_t id) {
  auto it = byId_.find(id);
  return it == byId_.end() ? nullptr : it->second;
}

HostNode& HostDataset::addRow(std::uint64_t id) {
  HostNode& node = rows_.emplace_back(this, id);
  byId_.emplace(id, &node);
  return node;
}

}  // namespace host_data
