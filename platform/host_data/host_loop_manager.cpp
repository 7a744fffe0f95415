#include "platform/host_data/host_loop_manager.h"

#include "platform/foundation/sptr.h"
#include "platform/host_data/host_table_view.h"

namespace host_data {

using data_abstractions2::TableAccessPatterns;

namespace {

const RowData* dataOf(const data_abstractions2::row_t& row) {
  const HostNode* node = HostDataset::asHostNode(row);
  return node ? node->data() : nullptr;
}

}  // namespace

const HostDataset* HostLoopManager::table(int kind) const {
  auto it = tables_.find(kind);
  return it == tables_.end() ? nullptr : it->second.get();
}

bool HostLoopManager::getSourceTripCounts(const row_t& row, const dataset_ptr& /*dataset*/,
                                          data_abstractions2::FieldId id,
                                          data_abstractions2::SourceTripCountsData& data) const {
  const RowData* rowData = dataOf(row);
  if (!rowData) return false;
  auto it = rowData->tripCounts.find(id);
  if (it == rowData->tripCounts.end()) return false;
  data = it->second;
  return true;
}

HostLoopManager::dataset_ptr HostLoopManager::getTable(int kind) const {
  auto it = tables_.find(kind);
  return it == tables_.end() ? nullptr : dataset_ptr(it->second);
}

void HostLoopManager::getIndices(const dataset_ptr& /*dataset*/, const row_t& row, int kind,
                                 std::vector<int>& indices) const {
  indices.clear();
  const RowData* rowData = dataOf(row);
  if (!rowData) return;
  auto it = rowData->tableIndices.find(kind);
  if (it != rowData->tableIndices.end()) indices = it->second;
}

foundation::sptr_t<data_abstractions2::ITableView> HostLoopManager::getView(const std::vector<int>& indices,
                                                                            int kind) const {
  auto it = tables_.find(kind);
  if (it == tables_.end()) return nullptr;
  std::vector<int> valid;
  valid.reserve(indices.size());
  for (int index : indices) {
    if (index >= 0 && static_cast<std::size_t>(index) < it->second->rowCount()) valid.push_back(index);
  }
  return foundation::pool_allocate<HostTableView, data_abstractions2::ITableView>(it->second, std::move(valid));
}

bool HostLoopManager::getGathers(data_abstractions2::Gathers& gathers) const {
  gathers.valid = false;
  const HostDataset* patterns = table(TableAccessPatterns);
  if (!patterns) return false;
  for (int index : gathers.indices) {
    if (index < 0 || static_cast<std::size_t>(index) >= patterns->rowCount()) return false;
  }
  for (int index : gathers.indices) {
    if (const RowData* record = patterns->rowAt(static_cast<std::size_t>(index)).data()) {
      gathers.gathers.insert(gathers.gathers.end(), record->gathers.begin(), record->gathers.end());
    }
  }
  gathers.valid = true;
  return true;
}

bool HostLoopManager::getMedianSourceTripCount(const row_t& row, const dataset_ptr& /*dataset*/,
                                               std::int64_t& median) const {
  const RowData* rowData = dataOf(row);
  if (!rowData || !rowData->medianTripCount) return false;
  median = *rowData->medianTripCount;
  return true;
}

std::vector<data_abstractions2::NTSCandidatesEvictionsInfo> HostLoopManager::getNtsCandidates(
    const row_t& row, const dataset_ptr& /*dataset*/, int kind) const {
  const RowData* rowData = dataOf(row);
  if (!rowData || kind != TableAccessPatterns) return {};
  return rowData->ntsCandidates;
}

}  // namespace host_data
