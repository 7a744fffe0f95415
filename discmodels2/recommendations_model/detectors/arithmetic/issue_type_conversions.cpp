#include "discmodels2/recommendations_model/detectors/arithmetic/issue_type_conversions.h"

#include "discmodels2/recommendations_model/messages/translation.h"

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

  sptr_t<IIssueEx> issue = createIssueEx(IIssueEx::getIssueStringId(IIssueEx::TypeConversions),
                                         translate("type_conversions_issue_title"),
                                         translate("type_conversions_issue_text"), 1,
                                         getLangFlag(data.isFortran) | 1u, variant_bag_t());
  issue->addRecommendation(createRecommendation(
      IRecommendation::getRecommendationStringId(IRecommendation::TypeConversionsRecSmallest, data.isFortran),
      translateEx("type_conversions_rec_smallest_title", getLangSuffix(data.isFortran)),
      translateEx("type_conversions_rec_smallest_text", getLangSuffix(data.isFortran)), 8u, variant_bag_t(), 1, -1));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
