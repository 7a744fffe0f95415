#pragma once

#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a scalar innermost loop, built by a compiler that reports no
/// diagnostics of its own, whose instruction mix looks worth vectorizing,
/// and recommends exploring its vectorization when auto-vectorization was on
/// or switching it on when it was not.
///
/// Skips rows of the Vorex compiler (its diagnostics have a detector of
/// their own) and rows without compiler name or version. A GNU compiler
/// records its options in its version text; the test there looks for "-O2"
/// in the lowered text, so GNU rows get the explore advice only through
/// "O3" in their compile options.
class IssuePotentialVectorizability : public IssueDetector {
 public:
  IssuePotentialVectorizability(std::shared_ptr<IDataProvider> dataProvider,
                                data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel);
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

 private:
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> surveyModel;
};

}  // namespace data_models2::issues
