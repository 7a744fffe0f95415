#include "discmodels2/recommendations_model/detectors/vectorization/issue_potential_vectorizability.h"

#include <utility>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "platform/model_support/compiler_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Whether the build asked for auto-vectorization, the first test that holds
// deciding.
bool autoVectorizationOn(const CommonData& data) {
  if (compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, {"O3"}, true)) return true;
  if (data.compilerName.find("microsoft") != std::string::npos &&
      compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, {"O2"}, true)) {
    return true;
  }
  // The version text was lowered when the row was read, so "-O2" is looked
  // for in a text that can only hold "-o2".
  return data.compilerName.find("gnu") != std::string::npos &&
         data.compilerVersionText.find("-O2") != std::string::npos &&
         data.compilerVersionText.find("-ftree-vectorize") != std::string::npos;
}

}  // namespace

IssuePotentialVectorizability::IssuePotentialVectorizability(std::shared_ptr<IDataProvider> dataProvider,
                                                             sptr_t<ISurveyingViewModel> surveyModel)
    : IssueDetector(std::move(dataProvider)), surveyModel(std::move(surveyModel)) {}

bool IssuePotentialVectorizability::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !surveyModel || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.fieldPresence[CompilerName] || !data.fieldPresence[CompilerVersion]) return false;
  if (data.isVorexCompiler) return false;
  if (!isPotentialVectorized(row, dataProvider, surveyModel)) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::PotentialVectorizability),
                                         translate("vectorizability_issue_title"), translate("vectorizability_issue_text"),
                                         kIssuePriority, issueFlags(data, kCompilerVerdictClass), variant_bag_t());
  const bool explore = autoVectorizationOn(data);
  issue->addRecommendation(createRecommendation(
      recommendationId(explore ? IRecommendation::ExploreVectorization : IRecommendation::EnableAutovectorization, data),
      translate("compiler_diag_rec_title"),
      translate(explore ? "explore_vectorization_text" : "enable_autovectorization_text"), kRecommendationFlag,
      variant_bag_t(), kConfidenceLow, kNoPriority));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
