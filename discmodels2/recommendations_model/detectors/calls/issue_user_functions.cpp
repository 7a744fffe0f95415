#include "discmodels2/recommendations_model/detectors/calls/issue_user_functions.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "discmodels2/recommendations_model/detectors/calls/user_function_advice.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

constexpr int kAssumedDependency = 15344;

constexpr const char* kRecKeyStems[] = {
    "user_function_prevent_vectorization_rec_enable_inlining",
    "user_function_prevent_vectorization_rec_try_simd",
    "user_function_prevent_vectorization_rec_try_simd_f",
};

}  // namespace

bool IssueUserFunctions::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (data.isVectorized || !data.isInnermostLoop || data.isSplitLoop || !data.isVectorBodyPart ||
      !data.callsUserFunctions) {
    return false;
  }

  const std::string& suffix = getLangSuffix(data.isFortran);
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::UserFunctions),
                                         translate("user_functions_prevent_vectorization_issue_title"),
                                         translateEx("user_functions_prevent_vectorization_issue_text", suffix),
                                         kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());
  auto title = [](const char* stem) { return translate(std::string(stem) + "_title"); };
  auto text = [&](const char* stem) { return translateEx(std::string(stem) + "_text", suffix); };

  if (inliningSwitchedOff(data)) {
    issue->addRecommendation(createRecommendation(
        recommendationId(IRecommendation::UserFunctionPreventVectorizationRecEnableInlining, data),
        title(kRecKeyStems[0]), text(kRecKeyStems[0]), kRecommendationFlag, variant_bag_t(), kConfidenceLow,
        kNoPriority));
  }
  const variant_bag_t functions = createUserFunctionsBag(data.userFunctionNames);
  issue->addRecommendation(createRecommendationWithParameters(
      recommendationId(IRecommendation::UserFunctionPreventVectorizationRecTrySimd, data), title(kRecKeyStems[1]),
      text(kRecKeyStems[1]), functions, kConfidenceLow));
  // An assumed dependency stands beside the calls: forcing is advised too.
  if (data.vectorizationDiagnosticId == kAssumedDependency) {
    issue->addRecommendation(createRecommendationWithParameters(
        recommendationId(IRecommendation::UserFunctionPreventVectorizationRecTrySimdF, data),
        title(kRecKeyStems[2]), text(kRecKeyStems[2]), functions, kConfidenceLow));
  }
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
