#include "discmodels2/recommendations_model/detectors/memory/issue_check_access_patterns.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// A vectorized row the collector marked as worth a look at its accesses.
constexpr IMetadata::type_t kAccessMark = 0x20000;

}  // namespace

bool IssueCheckAccessPatterns::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);

  bool hasVectorTrait = false;
  for (auto traits = row->rowTraits(); !traits.at_end(); traits.next()) {
    const sptr_t<ITrait>& trait = traits.current();
    if (trait && (trait->getTraitId() == ITrait::MaskedStores || trait->getTraitId() == ITrait::Horizontal)) {
      hasVectorTrait = true;
      break;
    }
  }

  const bool candidate = (data.isInnermostLoop && !data.isVectorized) || (data.isVectorized && data.isVectorBodyPart);
  if (!candidate) return false;
  if (!hasVectorTrait) {
    const sptr_t<IMetadata> metadata = row->getMetadata();
    if (!data.isVectorized || !metadata || !metadata->hasType(kAccessMark)) return false;
  }

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::CheckAccessPatterns),
                                         translate("check_access_patterns_issue_title"),
                                         translate("check_access_patterns_issue_text"), kIssuePriority,
                                         issueFlags(data, kMemoryIssueClass), variant_bag_t());
  // With stride data the other access detector judges the loop.
  if (data.strides.valid) return false;
  issue->addRecommendation(createRecommendationWithParameters(
      recommendationId(IRecommendation::CheckAccessPatternsRecRunMap, data),
      translate("check_access_patterns_rec_run_map_title"),
      translateEx("check_access_patterns_rec_run_map_text", getLangSuffix(data.isFortran)),
      createNoAnalysisDisclaimerBag(IResultController::ResultAccessPatterns, true), kConfidenceMedium));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
