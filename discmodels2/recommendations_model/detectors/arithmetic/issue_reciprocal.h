#pragma once

#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Finds loops built by the Vorex compiler that divide or take square roots
/// while no packed reciprocal instruction is in their code, and tells how to
/// get the cheap reciprocal forms: vectorize a loop that looks vectorizable,
/// recompile for an AVX-512 machine the result was collected on (the
/// many-core family has its own flavour), or tune an accuracy option that is
/// already there.
///
/// Skips peeled and remainder parts, scalar outer loops (their inner loops
/// speak for themselves), code of other compilers, and loops that already
/// use packed reciprocals. An issue without a recommendation is dropped.
class IssueReciprocal : public IssueDetector {
 public:
  IssueReciprocal(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::IsaExtensions isa,
                  system_info::SystemInfo::CPUType cpu,
                  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel);
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

 private:
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel;
  /// The machine the result was collected on, not the loop's target.
  int isa;
  int cpu;
};

}  // namespace data_models2::issues
