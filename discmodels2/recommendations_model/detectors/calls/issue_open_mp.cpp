#include "discmodels2/recommendations_model/detectors/calls/issue_open_mp.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Bits of CommonData::threadingCallFlags.
constexpr unsigned kThreadControlCall = 2;
constexpr unsigned kLockCall = 4;

constexpr const char* kRecKeyStems[] = {
    "omp_prevents_vect_rec_thread_func",
    "omp_prevents_vect_rec_lock_func",
};

}  // namespace

bool IssueOpenMP::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  const bool scalarInnermost = !data.isVectorized && data.isInnermostLoop;
  if (!scalarInnermost && data.isSplitLoop) return false;
  if (data.threadingCallFlags == 0) return false;

  const std::string& suffix = getLangSuffix(data.isFortran);
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::OpenMP), translate("omp_prevents_vect_issue_title"),
                                         translateEx("omp_prevents_vect_issue_text", suffix), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  auto add = [&](IRecommendation::RecommendationId id, const char* stem) {
    issue->addRecommendation(createRecommendation(recommendationId(id, data), translate(std::string(stem) + "_title"),
                                                  translateEx(std::string(stem) + "_text", suffix),
                                                  kRecommendationFlag, variant_bag_t(), kConfidenceLow, kNoPriority));
  };
  // Thread calls are the bigger obstacle; with them the locks go unmentioned.
  if (data.threadingCallFlags & kThreadControlCall) {
    add(IRecommendation::OmpPreventsVectRecThreadFunc, kRecKeyStems[0]);
  } else if (data.threadingCallFlags & kLockCall) {
    add(IRecommendation::OmpPreventsVectRecLockFunc, kRecKeyStems[1]);
  }
  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
