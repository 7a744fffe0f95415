#include "discmodels2/recommendations_model/detectors/vectorization/issue_need_for_simd.h"

#include <cstdint>
#include <map>
#include <utility>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/core/get_children.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"
#include "platform/model_support/isa_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using system_info::SystemInfo;

namespace {

constexpr int kComplexLoop = 15533;
constexpr int kOuterInnerNotVectorized = 15541;
constexpr int kOuterInsteadOfInner = 15542;

// Stems of the force-vectorization recommendation, in the order of the
// diagnostics above.
constexpr const char* kForceVectorizationKeyStems[] = {
    "complex_loop_vectorization_rec",
    "outer_vectorization_inner_not_vectorized_rec",
    "outer_vectorization_instead_of_inner_rec",
};

struct ForceVectorization {
  IRecommendation::RecommendationId id;
  const char* stem;
};

// A child loop below this vector efficiency (percent) is a vote for
// vectorizing the outer loop instead.
constexpr double kEfficientChild = 90.0;
// Above this share of unit strides (percent) the outer loop streams well.
constexpr double kUnitStrideShare = 90.0;
constexpr std::uint64_t kMaxChildLoops = 3;

double asNumber(const variant_t& value) {
  return value.is_integer() || value.is_floating() ? value.as_double() : 0.0;
}

}  // namespace

IssueNeedForSimd::IssueNeedForSimd(std::shared_ptr<IDataProvider> dataProvider, SystemInfo::IsaExtensions isa,
                                   SystemInfo::CPUType cpu, bool tripCountsCollected,
                                   sptr_t<ISurveyingViewModel> surveyModel)
    : IssueDetector(std::move(dataProvider)),
      isa(isa),
      cpu(cpu),
      tripCountsCollected(tripCountsCollected),
      surveyModel(std::move(surveyModel)) {}

bool IssueNeedForSimd::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (data.typeFlag1024 || data.isVectorized || data.typeFlag16384) return false;
  if (!data.fieldPresence[VectorizationDiagnosticId]) return false;

  sptr_t<IIssueEx> issue =
      createIssueEx(issueId(IIssueEx::NeedForSimd), translate("need_for_simd_issue_title"),
                    translate("need_for_simd_issue_text"), kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());

  static const std::map<long long, ForceVectorization> kForceVectorization = {
      {kComplexLoop, {IRecommendation::ComplexLoopVectorizationRec, kForceVectorizationKeyStems[0]}},
      {kOuterInnerNotVectorized, {IRecommendation::OuterVectorizationInnerNotVectorizedRec, kForceVectorizationKeyStems[1]}},
      {kOuterInsteadOfInner, {IRecommendation::OuterVectorizationInsteadOfInnerRec, kForceVectorizationKeyStems[2]}},
  };
  const auto found = kForceVectorization.find(data.vectorizationDiagnosticId);
  if (found == kForceVectorization.end()) return false;
  const ForceVectorization& force = found->second;

  if (data.vectorizationDiagnosticId == kComplexLoop ? data.innerLoopCount == 0 : data.innerLoopCount != 1) {
    return false;
  }

  const std::string& suffix = getLangSuffix(data.isFortran);
  bool disclaimerNeeded = false;
  if (!tripCountsCollected) {
    issue->addRecommendation(createRecommendationWithParameters(
        recommendationId(IRecommendation::NeedForSimdRecRunTripCount, data),
        translate("need_for_simd_rec_run_trip_count_title"), translateEx("need_for_simd_rec_run_trip_count_text", suffix),
        createNoAnalysisDisclaimerBag(IResultController::ResultTripCounts, true), kConfidenceLow));
    disclaimerNeeded = true;
  }

  const sptr_t<IDataset> dataset = surveyModel ? surveyModel->getDataset(BottomUp) : nullptr;
  const sptr_t<ILoopManager> loopManager = surveyModel ? surveyModel->getLoopManager() : nullptr;
  auto medianTripCount = [&](const row_t& loop) {
    return static_cast<std::int64_t>(isa_helpers::getMedianSourceTripCount(loop, dataset, loopManager));
  };

  int score = 0;
  unsigned childLoops = 0;
  unsigned vectorizedChildren = 0;
  for (auto children = dataProvider->getBottomUpChildren(row); !children.at_end(); children.next()) {
    const row_t& child = children.current();
    const sptr_t<IMetadata> metadata = child ? child->getMetadata() : nullptr;
    if (!metadata || !metadata->hasType(IMetadata::TypeLoop)) continue;
    ++childLoops;
    if (metadata->hasType(256)) ++vectorizedChildren;

    variant_t efficiency;
    if (dataset && dataset->getValue(child, dataset->getColumn(VectorEfficiency), 0, efficiency) &&
        asNumber(efficiency) < kEfficientChild) {
      ++score;
    }

    if (tripCountsCollected) {
      // A split loop's iterations are those of its parts together.
      std::int64_t childTrip = 0;
      if (metadata->hasType(IMetadata::TypeSplitLoop)) {
        for (auto parts = getChildren(child); !parts.at_end(); parts.next()) {
          const row_t& part = parts.current();
          const sptr_t<IMetadata> partMetadata = part ? part->getMetadata() : nullptr;
          if (!partMetadata || partMetadata->hasType(IMetadata::TypeMarked)) continue;
          childTrip += medianTripCount(part);
        }
      } else {
        childTrip = medianTripCount(child);
      }
      if (data.tripCountAverage != 0 && data.tripCountAverage >= static_cast<std::uint64_t>(childTrip)) ++score;
    }
  }

  if (vectorizedChildren == 0) return false;
  // The table keeps 15542, but a loop whose inner loop was vectorized
  // instead is left to that inner loop's findings.
  if (data.vectorizationDiagnosticId == kOuterInsteadOfInner) return false;
  if (childLoops > kMaxChildLoops) return false;

  switch (data.dependencyPresence) {
    case 0:
      issue->addRecommendation(createRecommendationWithParameters(
          recommendationId(IRecommendation::NeedForSimdRecRunCorrectness, data),
          translate("need_for_simd_rec_run_correctness_title"),
          translateEx("need_for_simd_rec_run_correctness_text", suffix),
          createNoAnalysisDisclaimerBag(IResultController::ResultDependencies, true), kConfidenceLow));
      disclaimerNeeded = true;
      break;
    case 1:
      ++score;
      break;
    case 2:
      return false;
    default:
      break;
  }

  if (!data.strides.valid) {
    issue->addRecommendation(createRecommendationWithParameters(
        recommendationId(IRecommendation::NeedForSimdRecRunMap, data), translate("need_for_simd_rec_run_map_title"),
        translateEx("need_for_simd_rec_run_map_text", suffix),
        createNoAnalysisDisclaimerBag(IResultController::ResultAccessPatterns, true), kConfidenceLow));
    disclaimerNeeded = true;
  } else if (data.strides.get(2) > 0.0) {
    --score;
  } else if (data.strides.get(0) > kUnitStrideShare) {
    ++score;
  }
  if (score < 0) return false;

  variant_bag_t bag;
  VBagHelper::addVariantBag(bag, "disclaimer", disclaimerNeeded);
  const std::string stem = force.stem;
  issue->addRecommendation(createRecommendationWithParameters(
      recommendationId(force.id, data), translate(stem + "_title"),
      translateEx(stem + "_text", suffix, disclaimerNeeded ? translate("need_for_simd_disclaimer") : std::string()),
      bag, kConfidenceLow));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
