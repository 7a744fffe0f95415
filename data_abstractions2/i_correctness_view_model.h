#pragma once
// `ICorrectnessViewModel`: the host's models of threading and memory errors
// (the correctness and the memory access map collections). This library only
// listens to their signals.

#include "data_abstractions2/i_view_model_base.h"

namespace data_abstractions2 {

class ICorrectnessViewModel : public IViewModelBase {
 public:
};

}  // namespace data_abstractions2
