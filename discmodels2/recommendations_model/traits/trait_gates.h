#pragma once
// Tests that several trait detectors share.

#include <string>

#include "data_abstractions2/i_node.h"
#include "discmodels2/recommendations_model/data/i_data_provider.h"

namespace data_models2::issues {

/// True when the loop's instruction classes satisfy one of the conditions
/// that traits_helpers lists for `traitId`, tried in the listed order. An id
/// without conditions never matches.
bool matchesTraitClasses(const std::string& instructionSets, int traitId);

/// True when the loop matters enough for a trait about its overhead: it
/// takes more than `percent` of the program's time, or it ranks among the
/// top tenth of loops by self time.
bool isHotLoop(const IDataProvider& provider, const data_abstractions2::row_t& row, double percent);

/// A trait's observation and its advice, one per line.
std::string joinLines(const std::string& first, const std::string& second);

}  // namespace data_models2::issues
