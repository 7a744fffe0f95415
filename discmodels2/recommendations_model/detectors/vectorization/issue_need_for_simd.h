#pragma once

#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Finds a scalar loop that the compiler left alone for one of three
/// reasons (too complex, an inner loop not vectorized, an inner loop
/// vectorized instead) while its inner loops were vectorized, and recommends
/// forcing vectorization of this loop.
///
/// It scores the loop by small votes: each child loop with a vector
/// efficiency below 90%, each child whose trip count the loop's own covers,
/// dependency data that shows none, and a mostly unit-stride access; a share
/// of irregular strides counts against it. Analyses that were not run are
/// asked for first, and the last recommendation says that it rests on them.
///
/// Skips loops with a proven dependency, with more than three child loops,
/// and, deliberately, diagnostic 15542: the table keeps its row, but a loop
/// whose inner loop was vectorized instead gets nothing.
class IssueNeedForSimd : public IssueDetector {
 public:
  IssueNeedForSimd(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::IsaExtensions isa,
                   system_info::SystemInfo::CPUType cpu, bool tripCountsCollected,
                   data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel);
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

 private:
  // Kept for the remedies that will depend on the machine; not read yet.
  system_info::SystemInfo::IsaExtensions isa;
  system_info::SystemInfo::CPUType cpu;
  bool tripCountsCollected;
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel;
};

}  // namespace data_models2::issues
