#pragma once
// Instruction mixes of a row, as the result keeps them.

#include "data_abstractions2/i_surveying_view_model.h"

namespace data_models2 {

/// Fills `map` with the instruction mix of `kind` for `row` (1 the static
/// table, 3 the dynamic one). False when the row has no mix of that kind;
/// with a null row or view model `map` is left alone.
bool getInstructionMixMap(const data_abstractions2::row_t& row,
                          const data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel>& viewModel,
                          data_abstractions2::InstructionMixType kind, data_abstractions2::InstructionMix& map);

}  // namespace data_models2
