#pragma once
// `HostSurveyingViewModel`: a loaded result as the library sees it: the two
// trees, the loop manager, the machine's roofs, file locators, program
// metrics and the per-row code, mixes and roofline figures.
//
// Per-row queries answer from the row itself, whichever tree it belongs to:
// `getCodeBlock(kind, row)` gives the row's code for any `kind`.

#include <map>
#include <vector>

#include "data_abstractions2/i_surveying_view_model.h"
#include "platform/host_data/host_dataset.h"
#include "platform/host_data/host_loop_manager.h"

namespace host_data {

class HostSurveyingViewModel : public data_abstractions2::ISurveyingViewModel {
 public:
  struct Contents {
    foundation::sptr_t<HostDataset> bottomUp;  ///< null when the result has no such tree
    foundation::sptr_t<HostDataset> callTree;
    foundation::sptr_t<HostLoopManager> loopManager;
    std::vector<data_abstractions2::RoofItem> roofs;
    std::map<int, std::vector<data_abstractions2::FileLocator>> fileLocators;
    data_abstractions2::ProgramMetrics programMetrics;
    /// Null when no row has a shadow diagnosis: the result has no such model.
    foundation::sptr_t<data_abstractions2::IAVX512FreqThrottlingModel> throttlingModel;
  };

  explicit HostSurveyingViewModel(Contents contents) : contents_(std::move(contents)) {}

  foundation::sptr_t<data_abstractions2::IDataset> getDataset(int kind) const override;
  foundation::sptr_t<data_abstractions2::ILoopManager> getLoopManager() const override;
  foundation::generic_iterator_t<data_abstractions2::RoofItem> getRoofItems() const override;
  bool getFileLocators(int kind, std::vector<data_abstractions2::FileLocator>& locators) const override;
  data_abstractions2::ProgramMetrics getProgramMetrics() const override { return contents_.programMetrics; }
  foundation::sptr_t<data_abstractions2::IAVX512FreqThrottlingModel> getAVX512FreqThrottlingModel() const override {
    return contents_.throttlingModel;
  }
  data_abstractions2::CodeBlock getCodeBlock(int kind, const data_abstractions2::row_t& row) const override;
  bool getInstructionMix(const data_abstractions2::row_t& row, int kind,
                         data_abstractions2::InstructionMix& mix) const override;
  bool getRowRoofline(const data_abstractions2::row_t& row, data_abstractions2::RowRoofline& roofline) const override;

  const foundation::sptr_t<HostDataset>& bottomUp() const { return contents_.bottomUp; }
  const foundation::sptr_t<HostDataset>& callTree() const { return contents_.callTree; }

 private:
  Contents contents_;
};

}  // namespace host_data
