#pragma once
// What the two user-function detectors share: the options that switch
// inlining off, and the bag that names the called functions.

#include <string>
#include <vector>

#include "discmodels2/recommendations_model/data/common_data.h"

namespace data_models2::issues {

/// True when the row's options switch inlining off.
bool inliningSwitchedOff(const CommonData& data);

}  // namespace data_models2::issues
