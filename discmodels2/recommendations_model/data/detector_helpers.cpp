#include "discmodels2/recommendations_model/data/detector_helpers.h"

#include <cstdint>

#include "discmodels2/recommendations_model/data/field_retriever.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"
#include "platform/model_support/instruction_mix.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Columns of the instruction mix table.
constexpr mix_column_t kComputeColumn = 1;
constexpr mix_column_t kMemoryColumn = 5;
constexpr mix_column_t kAllColumn = 9;
constexpr mix_column_t kMixedColumn = 45;

// Loops with less compute than this share of their memory instructions are
// memory copies in disguise: vector code would not make them faster.
constexpr double kMinComputePerMemory = 0.33;
// Loops whose memory and compute instructions are not more than this share
// of the rest (branches, address arithmetic) are mostly control.
constexpr double kMinWorkPerRest = 0.5;

std::int64_t integerCell(const InstructionMix& mix, mix_column_t column) {
  const variant_t& value = mix.at(column);
  return value.is_integer() ? value.as_i64() : 0;
}

}  // namespace

variant_bag_t createUserFunctionsBag(const std::set<std::string>& functions) {
  variant_bag_t bag;
  variant_bag_t& list = VBagHelper::addList(bag, "user_functions");
  for (const std::string& name : functions) VBagHelper::addListItem(list, name);
  return bag;
}

variant_bag_t createNoAnalysisDisclaimerBag(IResultController::ResultType type, bool flag) {
  variant_bag_t bag;
  switch (type) {
    case IResultController::ResultTripCounts:
      VBagHelper::addVariantBag(bag, "no_tripcounts_disclaimer", flag);
      break;
    case IResultController::ResultAccessPatterns:
      VBagHelper::addVariantBag(bag, "no_map_disclaimer", flag);
      break;
    case IResultController::ResultDependencies:
      VBagHelper::addVariantBag(bag, "no_dependency_disclaimer", flag);
      break;
    default:
      break;
  }
  return bag;
}

bool isRecommendationPresent(sptr_t<IIssueEx> issue, IRecommendation::RecommendationId id, bool isFortran) {
  if (!issue) return false;
  const std::string wanted = IRecommendation::getRecommendationStringId(id, isFortran);
  for (auto it = issue->getRecommendations(); !it.at_end(); it.next()) {
    const sptr_t<IRecommendation>& recommendation = it.current();
    if (recommendation && recommendation->getStringId() == wanted) return true;
  }
  return false;
}

bool isPotentialVectorized(row_t row, std::shared_ptr<IDataProvider> provider, sptr_t<ISurveyingViewModel> model) {
  if (!row || !provider || !model) return false;
  sptr_t<IDataset> dataset = model->getDataset(BottomUp);
  if (!dataset) return false;

  const CommonData& data = provider->getData(row);
  if (data.innerLoopCount != 0) return false;
  if (data.isVectorized || data.isPeelPart || data.isRemainderPart || !data.isInnermostLoop) return false;

  for (FieldId reason : {Field145, Field147, Field146, Field144}) {
    if (checkData<bool>(reason, false, row, dataset)) return false;
  }

  InstructionMix mix;
  if (!getInstructionMixMap(row, model, MixSummary, mix)) return false;
  const std::int64_t total = integerCell(mix, kAllColumn);
  const std::int64_t memory = integerCell(mix, kMemoryColumn);
  const std::int64_t compute = integerCell(mix, kComputeColumn) + integerCell(mix, kMixedColumn);
  const std::int64_t rest = total - memory - compute;

  if (total <= 0 || compute <= 0) return false;
  if (memory != 0 && !(static_cast<double>(compute) / static_cast<double>(memory) > kMinComputePerMemory)) {
    return false;
  }
  if (rest != 0 &&
      !(static_cast<double>(memory + compute) / static_cast<double>(rest) > kMinWorkPerRest)) {
    return false;
  }
  return true;
}

}  // namespace data_models2::issues
