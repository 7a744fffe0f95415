#include "platform/host_data/host_throttling_model.h"

#include "platform/host_data/host_dataset.h"

namespace host_data {

int HostThrottlingModel::diagnose(const data_abstractions2::row_t& row) const {
  const HostNode* node = HostDataset::asHostNode(row);
  if (!node || !node->data() || !node->data()->avx512Shadow) return 0;
  return *node->data()->avx512Shadow;
}

}  // namespace host_data
