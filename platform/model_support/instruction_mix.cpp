#include "platform/model_support/instruction_mix.h"

namespace data_models2 {

bool getInstructionMixMap(const data_abstractions2::row_t& row,
                          const data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel>& viewModel,
                          data_abstractions2::InstructionMixType kind, data_abstractions2::InstructionMix& map) {
  if (!row || !viewModel) return false;
  return viewModel->getInstructionMix(row, kind, map);
}

}  // namespace data_models2
