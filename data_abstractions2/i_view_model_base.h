#pragma once
// `IViewModelBase`: what every view model of the host offers, whatever its data.

#include <string>

#include "data_abstractions2/common.h"
#include "platform/foundation/signal.h"

namespace data_abstractions2 {

class IViewModelBase : public ref_countable_t {
 public:
  /// Outcome of a load or of a long task. The numbers travel between
  /// processes and sessions, so they are fixed; 3 is not used.
  enum LoadType : int {
    LoadOk = 0,        ///< the data is there
    LoadFailed = 1,    ///< the operation ran and gave nothing usable
    LoadCanceled = 2,  ///< cancelled before its end
    LoadNoData = 4,    ///< there was nothing to work on
  };

  /// A load ended, with its outcome and a message for the user.
  foundation::signal_t<LoadType, const std::string&> loadFinished;
  /// A collection ended. The flag is the model's own verdict: a collector
  /// says whether its data changed; the recommendations model, whether its
  /// findings match the data.
  foundation::signal_t<bool> collectionFinished;
  /// The result is about to close.
  foundation::signal_t<> closing;
};

}  // namespace data_abstractions2
