#include "discmodels2/recommendations_model/detectors/calls/issue_serialized_user_functions.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "discmodels2/recommendations_model/detectors/calls/user_function_advice.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

constexpr const char* kRecKeyStems[] = {
    "serialized_user_function_rec_enable_inlining",
    "serialized_user_function_rec_try_simd",
};

}  // namespace

bool IssueSerializedUserFunctions::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (data.isSplitLoop || !data.isVectorized || !data.callsUserFunctions) return false;

  const std::string& suffix = getLangSuffix(data.isFortran);
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::SerializedUserFunctions),
                                         translate("serialized_user_function_issue_title"),
                                         translateEx("serialized_user_function_issue_text", suffix), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  if (inliningSwitchedOff(data)) {
    issue->addRecommendation(createRecommendation(
        recommendationId(IRecommendation::SerializedUserFunctionRecEnableInlining, data),
        translate(std::string(kRecKeyStems[0]) + "_title"), translateEx(std::string(kRecKeyStems[0]) + "_text", suffix),
        kRecommendationFlag, variant_bag_t(), kConfidenceLow, kNoPriority));
  }
  // Vector variants are the sure remedy for serialized calls.
  issue->addRecommendation(createRecommendationWithParameters(
      recommendationId(IRecommendation::SerializedUserFunctionRecTrySimd, data),
      translate(std::string(kRecKeyStems[1]) + "_title"), translateEx(std::string(kRecKeyStems[1]) + "_text", suffix),
      createUserFunctionsBag(data.userFunctionNames), kConfidenceHigh));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
