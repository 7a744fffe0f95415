#include "discmodels2/recommendations_model/detectors/arithmetic/issue_type_conversions.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {
// The instruction class text names conversions so; the match is exact and
// case-sensitive because the text is the collector's, not a user's.
constexpr const char* kConversionsClass = "Type Conversions";
}  // namespace

bool IssueTypeConversions::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);

  if (!data.fieldPresence[InstructionSets]) return false;
  if (data.instructionSets.find(kConversionsClass) == std::string::npos) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::TypeConversions), translate("type_conversions_issue_title"),
                                         translate("type_conversions_issue_text"), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  issue->addRecommendation(createRecommendation(
      recommendationId(IRecommendation::TypeConversionsRecSmallest, data),
      translateEx("type_conversions_rec_smallest_title", getLangSuffix(data.isFortran)),
      translateEx("type_conversions_rec_smallest_text", getLangSuffix(data.isFortran)), kRecommendationFlag,
      variant_bag_t(), kConfidenceLow, kNoPriority));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
