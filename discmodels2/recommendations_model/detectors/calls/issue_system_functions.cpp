#include "discmodels2/recommendations_model/detectors/calls/issue_system_functions.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;

bool IssueSystemFunctions::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (data.isVectorized || !data.isInnermostLoop || !data.callsSystemFunctions || data.hasMemop ||
      data.callsSystemFunctionsDirectly) {
    return false;
  }
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::SystemFunctions), translate("system_functions_issue_title"),
                                         translate("system_functions_issue_text"), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  issue->addRecommendation(createRecommendation(
      recommendationId(IRecommendation::SystemFunctionsRecMove, data), translate("system_functions_rec_move_title"),
      translateEx("system_functions_rec_move_text", getLangSuffix(data.isFortran)), kRecommendationFlag,
      variant_bag_t(), kConfidenceLow, kNoPriority));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
