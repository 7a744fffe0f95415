#include "discmodels2/recommendations_model/detectors/arithmetic/issue_floating_point.h"

#include <string>
#include <vector>

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using compiler_helpers::hasAnyOfCompilerFlags;

namespace {

// The first C library that ships vector variants of the math functions.
const GlibcVer kMinimumGlibcVersion{2, 22};

constexpr const char* kLibmKeyStems[] = {
    "libm_function_rec_enable_inlining",
    "libm_function_rec_precise",
    "libm_function_rec_strict",
    "libm_function_rec_tqml_gcc",
};

const std::vector<std::string> kNoInliningPatterns = {"Ob0", "inline-level=0"};
const std::vector<std::string> kPreciseModelPatterns = {"fp:precise", "fp-model\\s+precise"};
const std::vector<std::string> kFastTranscendentalsPatterns = {"(Q)?fast-transcendentals"};
// The leading minus keeps "/fp-model strict" out; kept as the rule has it.
const std::vector<std::string> kStrictModelPatterns = {"fp:strict", "-fp-model\\s+strict"};

}  // namespace

bool IssueFloatingPoint::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.fieldPresence[CompilerFlags] || !data.isInnermostLoop || !data.callsMathLibrary) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::FloatingPoint), translate("libm_function_issue_title"),
                                         translate("libm_function_issue_text"), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  const std::string& suffix = getLangSuffix(data.isFortran);
  auto add = [&](IRecommendation::RecommendationId id, const std::string& stem, Confidence confidence) {
    issue->addRecommendation(createRecommendationWithConfidence(recommendationId(id, data), translate(stem + "_title"),
                                                                translateEx(stem + "_text", suffix), confidence,
                                                                kRecommendationFlag));
  };

  // An inlined call can be vectorized, so only the scalar loop is told this.
  if (!data.isVectorized && hasAnyOfCompilerFlags(data.compilerFlags, kNoInliningPatterns, true)) {
    add(IRecommendation::LibmFunctionRecEnableInlining, kLibmKeyStems[0], kConfidenceLow);
  }
  if (hasAnyOfCompilerFlags(data.compilerFlags, kPreciseModelPatterns, true) &&
      !hasAnyOfCompilerFlags(data.compilerFlags, kFastTranscendentalsPatterns, true) && !data.typeFlag512) {
    add(IRecommendation::LibmFunctionRecPrecise, kLibmKeyStems[1], kConfidenceHigh);
  }
  if (hasAnyOfCompilerFlags(data.compilerFlags, kStrictModelPatterns, true)) {
    add(IRecommendation::LibmFunctionRecStrict, kLibmKeyStems[2], kConfidenceHigh);
  }

  if (data.compilerName.find("gnu") != std::string::npos) {
    add(IRecommendation::LibmFunctionRecTqmlGcc, kLibmKeyStems[3], kConfidenceHigh);
    // An empty set counts as no new enough library.
    bool noNewGlibc = true;
    for (const GlibcVer& version : data.glibcVersions) {
      if (!(version < kMinimumGlibcVersion)) {
        noNewGlibc = false;
        break;
      }
    }
    if (noNewGlibc || !data.callsLibmvec) {
      issue->addRecommendation(createRecommendation(
          recommendationId(IRecommendation::LibmFunctionRecNewGlibc, data), translate("libm_function_rec_new_glibc_title"),
          translateEx("libm_function_rec_new_glibc_text", suffix), kRecommendationFlag, variant_bag_t(), kConfidenceLow,
          kNoPriority));
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
