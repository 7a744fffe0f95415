#include "discmodels2/recommendations_model/detectors/memory/issue_excessive_caching.h"

#include <string>

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// How the list says that the loop's stores are non-temporal already.
const std::string kNonTemporalStores = "NT-stores";

}  // namespace

bool IssueExcessiveCaching::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (data.ntsCandidates.empty()) return false;
  if (data.ntsCandidates.front().kind.find(kNonTemporalStores) != std::string::npos) return false;

  // One catalogue entry serves as title and text of each record.
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::ExcessiveCaching), translate("issue_excessive_caching_title"),
                                         translate("issue_excessive_caching_title"), kIssuePriority,
                                         issueFlags(data, kMemoryIssueClass), variant_bag_t());
  issue->addRecommendation(createRecommendationWithConfidence(recommendationId(IRecommendation::RecUseNts, data),
                                                              translate("rec_use_nts_title"),
                                                              translate("rec_use_nts_title"), kConfidenceLow,
                                                              kRecommendationFlag));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
