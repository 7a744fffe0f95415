#include "discmodels2/recommendations_model/detectors/memory/issue_inefficient_access_patterns.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/core/get_children.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Shares of accesses, in percent.
constexpr double kSomeLargeStrides = 5.0;
constexpr double kManyLargeStrides = 30.0;
constexpr double kRulingUnitStride = 90.0;

// Part fields of an assumed-shape array: field 64 names the kind of the
// check the compiler generated, field 65 how it came out.
constexpr int kContiguityCheck = 16;
constexpr int kFoundContiguous = 1;

}  // namespace

bool IssueInefficientAccessPatterns::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.isVorexCompiler) return false;

  const bool scalarCandidate = !data.isVectorized && data.isInnermostLoop;
  const bool vectorCandidate = data.isVectorized && data.isVectorBodyPart;
  const bool oldCompiler = data.compilerVersion <= compiler_helpers::CompilerVersion{16, 0, 0};
  const bool candidate = scalarCandidate || vectorCandidate;

  const bool fortranSplit = data.isSplitLoop && data.isFortran;
  bool anyContiguous = false;
  bool anyNonContiguous = false;
  if (!fortranSplit) {
    if (!candidate) return false;
  } else {
    bool hasContiguousCandidate = false;
    for (auto parts = getChildren(row); !parts.at_end(); parts.next()) {
      if (!parts.current()) continue;
      const CommonData& part = dataProvider->getData(parts.current());
      if (part.typeFlag1024 && part.callCount == 0) continue;
      if (!part.fieldPresence[Field64] || !part.fieldPresence[Field65]) continue;
      if (part.field64 != kContiguityCheck) continue;
      hasContiguousCandidate = true;
      if (part.field65 == kFoundContiguous) anyContiguous = true;
      if (part.field65 > kFoundContiguous) anyNonContiguous = true;
    }
    if (!candidate && !hasContiguousCandidate) return false;
  }

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::InefficientAccessPatterns),
                                         translate("inefficient_MAP_issue_title"),
                                         translate("inefficient_MAP_issue_text"), kIssuePriority,
                                         issueFlags(data, kMemoryIssueClass), variant_bag_t());
  const std::string& suffix = getLangSuffix(data.isFortran);
  if (fortranSplit && anyContiguous && !anyNonContiguous) {
    // The advice is about a Fortran attribute whatever the row says.
    issue->addRecommendation(createRecommendation(
        recommendationId(IRecommendation::InefficientMAPRecContiguous, data),
        translate("inefficient_MAP_rec_contiguous_title"),
        translateEx("inefficient_MAP_rec_contiguous_text", getLangSuffix(true)), kRecommendationFlag,
        variant_bag_t(), kConfidenceLow, kNoPriority));
  }
  // Without stride data nothing is said, the contiguity advice included.
  if (!data.strides.valid) return false;

  if (candidate) {
    const double largeShare = data.strides.get(2);
    if (largeShare > kSomeLargeStrides) {
      if (largeShare > kManyLargeStrides) {
        issue->addRecommendation(createRecommendationWithParameters(
            recommendationId(IRecommendation::InefficientMAPRecExchangeOuter, data),
            translate("inefficient_MAP_rec_exchange_outer_title"),
            translateEx("inefficient_MAP_rec_exchange_outer_text", suffix),
            createNoAnalysisDisclaimerBag(IResultController::ResultAccessPatterns, true), kConfidenceLow));
      }
    } else if (!(data.strides.get(0) > kRulingUnitStride)) {
      issue->addRecommendation(createRecommendation(
          recommendationId(IRecommendation::InefficientMAPRecSOA, data), translate("inefficient_MAP_rec_SOA_title"),
          translateEx("inefficient_MAP_rec_SOA_text", suffix), kRecommendationFlag, variant_bag_t(), kConfidenceLow,
          kNoPriority));
      if (!data.isFortran) {
        issue->addRecommendation(createRecommendationWithConfidence(
            recommendationId(IRecommendation::InefficientMAPRecVLDK, data),
            translate("inefficient_MAP_rec_VLDK_title"), translateEx("inefficient_MAP_rec_VLDK_text", suffix),
            oldCompiler ? kConfidenceLow : kConfidenceHigh, kRecommendationFlag));
      }
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
