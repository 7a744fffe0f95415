#pragma once
// `HostDataset`: a tree of rows loaded from a result, or a flat table of
// per-loop records (dependencies, access patterns).
//
// The dataset owns its rows and carries their reference count (see
// host_node.h). Columns are field numbers: `getColumn(id)` is `id` when some
// row of the dataset has the field and kNoColumn otherwise.

#include <cstdint>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "platform/host_data/host_node.h"

namespace host_data {

class HostDataset : public data_abstractions2::IDataset {
 public:
  using row_t = data_abstractions2::row_t;
  using column_t = data_abstractions2::column_t;

  explicit HostDataset(data_abstractions2::DataType type) : type_(type) {}
  HostDataset(const HostDataset&) = delete;
  HostDataset& operator=(const HostDataset&) = delete;

  data_abstractions2::DataType getDataType() const override { return type_; }
  column_t getColumn(data_abstractions2::FieldId id) const override;
  /// Reads the row's own value; the row may belong to another loaded dataset
  /// (readers look a row of one tree up against the other), but it must be a
  /// row of a loaded result.
  bool getValue(const row_t& row, column_t column, int flags, foundation::variant_t& value) const override;
  std::size_t rowCount() const override { return rows_.size(); }
  foundation::generic_iterator_t<row_t> getRoots() const override;
  /// The id of the row at a load index; the largest 64-bit value for an index
  /// outside the dataset.
  std::uint64_t getRowId(int index) const override;
  row_t getRow(std::uint64_t id) const override;
  /// The row's `roofline` figures of the result, like the view model's.
  bool getRowRoofline(const row_t& row, data_abstractions2::RowRoofline& roofline) const override;

  /// The loaded row behind `row`, or null for a row of some other making.
  static const HostNode* asHostNode(const row_t& row);

  const HostNode* findRow(std::uint64_t id) const;
  const HostNode& rowAt(std::size_t index) const { return rows_[index]; }
  const std::vector<HostNode*>& roots() const { return roots_; }

  // Building, by the loader only.
  /// Appends a row; the caller makes sure `id` is new.
  HostNode& addRow(std::uint64_t id);
  void reserveRows(std::size_t count) { byId_.reserve(count); }
  HostNode& mutableRowAt(std::size_t index) { return rows_[index]; }
  HostNode* mutableFindRow(std::uint64_t id);
  void noteField(int id) { fields_.insert(id); }
  void setRoots(std::vector<HostNode*> roots) { roots_ = std::move(roots); }

 private:
  data_abstractions2::DataType type_;
  std::deque<HostNode> rows_;  // a deque: rows never move once made
  std::unordered_map<std::uint64_t, HostNode*> byId_;
  std::vector<HostNode*> roots_;
  std::unordered_set<int> fields_;
};

}  // namespace host_data
