#include "discmodels2/recommendations_model/detectors/vectorization/issue_assumed_dependency.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

constexpr int kAssumedDependency = 15344;

// What the dependency analysis said about the loop.
enum DependencyPresence : int { NoData = 0, NoneFound = 1, Found = 2, ReductionOnly = 3 };

sptr_t<IRecommendation> withConfidence(IRecommendation::RecommendationId id, const char* titleKey,
                                       const CommonData& data) {
  return createRecommendationWithConfidence(recommendationId(id, data), translate(titleKey), std::string(),
                                            kConfidenceMedium, kRecommendationFlag);
}

}  // namespace

bool IssueAssumedDependency::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.isLoop) return false;
  if (data.isVectorized || data.isSplitLoop) return false;
  if (!data.fieldPresence[VectorizationDiagnosticId] || !data.fieldPresence[FuncInstIdx]) return false;
  if (data.vectorizationDiagnosticId != kAssumedDependency) return false;

  // Both issues share the text: a proven dependency is the assumed one,
  // confirmed.
  auto makeIssue = [&](IIssueEx::IssueId id, const char* titleKey) {
    return createIssueEx(issueId(id), translate(titleKey), translate("assumed_dependency_issue_text"), kIssuePriority,
                         issueFlags(data, kMemoryIssueClass), variant_bag_t());
  };
  sptr_t<IIssueEx> issue = makeIssue(IIssueEx::AssumedDependency, "assumed_dependency_issue_title");

  switch (data.dependencyPresence) {
    case NoData:
      issue->addRecommendation(createRecommendationWithParameters(
          recommendationId(IRecommendation::AssumedDependencyRecRunCorrectness, data),
          translate("assumed_dependency_rec_run_correctness_title"), std::string(),
          createNoAnalysisDisclaimerBag(IResultController::ResultDependencies, true), kConfidenceMedium));
      break;
    case NoneFound:
      issue->addRecommendation(
          withConfidence(IRecommendation::AssumedDependencyRecEnableVec, "assumed_dependency_rec_enable_vec_title", data));
      break;
    case Found:
      issue = makeIssue(IIssueEx::ProvenDependency, "proven_dependency_issue_title");
      issue->addRecommendation(
          withConfidence(IRecommendation::AssumedDependencyRecVectorlen, "assumed_dependency_rec_vectorlen_title", data));
      break;
    case ReductionOnly:
      issue->addRecommendation(
          withConfidence(IRecommendation::AssumedDependencyReduction, "assumed_dependency_reduction_title", data));
      break;
    default:
      break;
  }
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
