#include "discmodels2/recommendations_model/detectors/code_shape/issue_zmm_shadow.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Verdicts of the shadow comparison that ask for a change. Both "on"
// verdicts tell the user the same: they differ in what the data layer found.
constexpr int kShadowSlower = 2;
constexpr int kShadowFaster = 3;
constexpr int kShadowFasterElsewhere = 4;

}  // namespace

bool IssueZmmShadow::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  const int diagnostic = dataProvider->getAVX512ShadowDiagnostic(row);

  sptr_t<IIssueEx> issue =
      createIssueEx(issueId(IIssueEx::ZmmShadow), translate("zmm_shadow_issue_title"),
                    translate("zmm_shadow_issue_text"), kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());
  const std::string lang = getLangSuffix(data.isFortran);
  if (diagnostic == kShadowSlower) {
    issue->addRecommendation(createRecommendationWithConfidence(
        recommendationId(IRecommendation::DisableZmm, data), translate("disable_zmm_title"),
        translateEx("disable_zmm_text", lang), kConfidenceLow, kRecommendationFlag));
  } else if (diagnostic == kShadowFaster || diagnostic == kShadowFasterElsewhere) {
    issue->addRecommendation(createRecommendationWithConfidence(
        recommendationId(IRecommendation::EnableZmm, data), translate("enable_zmm_title"),
        translateEx("enable_zmm_text", lang), kConfidenceLow, kRecommendationFlag));
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
