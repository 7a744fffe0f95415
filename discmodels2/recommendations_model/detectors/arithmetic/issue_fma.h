#pragma once

#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Finds, in the code of a loop built by the Vorex compiler, fused
/// multiply-adds that run on one element at a time, and multiplications
/// whose result an addition or subtraction reads, which one fused
/// instruction could do with a single rounding. It recommends vectorizing
/// the first, and for the second an instruction set with the fused forms,
/// or turning them on where a strict floating-point model keeps them off.
///
/// Skips split loops and their peeled and remainder parts, scalar outer
/// loops, and code of other compilers. The walk stops at the first fused
/// instruction: a loop that fuses already is not searched for pairs beyond.
/// An issue without a recommendation is dropped.
class IssueFMA : public IssueDetector {
 public:
  IssueFMA(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::IsaExtensions isa,
           data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel);
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

 private:
  /// The machine the result was collected on, not the loop's target.
  int isa;
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel;
};

}  // namespace data_models2::issues
