#include "platform/host_data/host_surveying_view_model.h"

namespace host_data {

using data_abstractions2::BottomUp;
using data_abstractions2::CallTree;

namespace {

const RowData* dataOf(const data_abstractions2::row_t& row) {
  const HostNode* node = HostDataset::asHostNode(row);
  return node ? node->data() : nullptr;
}

}  // namespace

foundation::sptr_t<data_abstractions2::IDataset> HostSurveyingViewModel::getDataset(int kind) const {
  if (kind == BottomUp) return contents_.bottomUp;
  if (kind == CallTree) return contents_.callTree;
  return nullptr;
}

foundation::sptr_t<data_abstractions2::ILoopManager> HostSurveyingViewModel::getLoopManager() const {
  return contents_.loopManager;
}

foundation::generic_iterator_t<data_abstractions2::RoofItem> HostSurveyingViewModel::getRoofItems() const {
  return foundation::generic_iterator_t<data_abstractions2::RoofItem>(
      std::vector<data_abstractions2::RoofItem>(contents_.roofs));
}

bool HostSurveyingViewModel::getFileLocators(int kind, std::vector<data_abstractions2::FileLocator>& locators) const {
  auto it = contents_.fileLocators.find(kind);
  if (it == contents_.fileLocators.end()) return false;
  locators = it->second;
  return true;
}

data_abstractions2::CodeBlock HostSurveyingViewModel::getCodeBlock(int /*kind*/,
                                                                   const data_abstractions2::row_t& row) const {
  const RowData* data = dataOf(row);
  return data ? data->code : data_abstractions2::CodeBlock();
}

bool HostSurveyingViewModel::getInstructionMix(const data_abstractions2::row_t& row, int kind,
                                               data_abstractions2::InstructionMix& mix) const {
  const RowData* data = dataOf(row);
  if (!data) return false;
  auto it = data->mixes.find(kind);
  if (it == data->mixes.end()) return false;
  mix = it->second;
  return true;
}

bool HostSurveyingViewModel::getRowRoofline(const data_abstractions2::row_t& row,
                                            data_abstractions2::RowRoofline& roofline) const {
  const RowData* data = dataOf(row);
  if (!data || !data->roofline) return false;
  roofline = *data->roofline;
  return true;
}

}  // namespace host_data
