#pragma once
// `IRecommendationsModel`: the recommendations library as its host sees it.
//
// The host makes one with data_models2::createRecommendationsModel, calls
// `init` with the result, hands over the models with the setters and calls
// `startCollection`. Findings land on the rows of the survey model's trees;
// `collectionStarted` and `collectionFinished` say when. All operations are
// called on the host's thread; both signals are raised on the thread of the
// task that does the work.

#include "data_abstractions2/i_correctness_view_model.h"
#include "data_abstractions2/i_loop_manager.h"
#include "data_abstractions2/i_source_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "data_abstractions2/i_view_model_base.h"

namespace data_abstractions2 {

class IRecommendationsModel : public IViewModelBase {
 public:
  /// Kept for the detectors' use; not otherwise looked at.
  virtual void setLoopManager(sptr_t<ILoopManager> loopManager) = 0;
  virtual void setSourceManager(sptr_t<ISourceManager> sourceManager) = 0;
  /// The model whose rows get the findings. When the object is also an
  /// IViewModelBase, its end of collection makes the stored findings stale
  /// and its closing stops the work.
  virtual void setSurveyModel(sptr_t<ISurveyingViewModel> surveyModel) = 0;
  /// Another collection on the same result: when it ends with changed data,
  /// the stored findings are stale.
  virtual void setCorrectnessModel(sptr_t<ICorrectnessViewModel> correctnessModel) = 0;
  virtual void setMapModel(sptr_t<ICorrectnessViewModel> mapModel) = 0;

  /// A task began to produce findings. Raised once per collection.
  foundation::signal_t<> collectionStarted;
};

}  // namespace data_abstractions2
