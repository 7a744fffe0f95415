#include "discmodels2/recommendations_model/detectors/code_shape/issue_peel_remainder.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/core/get_children.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"
#include "platform/model_support/compiler_helpers.h"
#include "platform/model_support/isa_helpers.h"
#include "platform/portability/strings.h"

// This file is built with -ffp-contract=off: the impact estimate is compared
// to the last bit, and fused multiply-adds would change it.

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Below this a part counts as having taken no time.
constexpr double kTimeEpsilon = 1e-12;
// A part that ran (it has iterations) but left no sample keeps its place
// with this time.
constexpr double kUnsampledPartTime = 2e-12;
// The compiler's diagnostic that the loop has too few iterations for its
// vector length.
constexpr int kTooFewIterationsDiagnostic = 15315;
// Compilers from this major version on report unrolling in a way the
// unroll advice can take at its word.
constexpr int kLastOldCompilerMajor = 15;
// A vector remainder of fewer elements than this divided by its vector
// length is too short to pay for setting up its masks.
constexpr double kShortRemainderBudget = 125.0;
// Rule 1 of the alignment advice: a vector body of fewer iterations than
// this can't hide a peeled part.
constexpr std::uint64_t kFewBodyIterations = 20;
constexpr int kDefaultTypeBits = 128;

// Cost of one iteration of each part, in units of the estimate; single
// precision, as the estimate is.
constexpr float kBodyCost = 1.3977839946746826f;
constexpr float kPeelCost = 0.5908192992210388f;
constexpr float kVectorRemainderCost = 0.9203355312347412f;
constexpr float kScalarRemainderCost = 0.7280166149139404f;

// The sums over the parts of one loop. Iterations and trip counts wrap as
// unsigned 64-bit numbers.
struct Parts {
  int maxVectorLength = 1;
  int maxUnrollFactor = 0;
  bool allHaveTripCounts = true;
  bool anyField36 = false;
  bool anyAvx512 = false;
  bool anySimdMarked = false;
  bool hasVectorRemainder = false;
  bool anyField53Over1 = false;
  bool shortVectorRemainder = false;
  bool oneIterationRemainder = false;
  unsigned remainderCount = 0;
  unsigned vectorRemainderCount = 0;
  double peelTime = 0.0;
  double bodyTime = 0.0;
  double vectorRemainderTime = 0.0;
  double scalarRemainderTime = 0.0;
  std::uint64_t peelIterations = 0;
  std::uint64_t bodyIterations = 0;
  std::uint64_t vectorRemainderIterations = 0;
  std::uint64_t scalarRemainderIterations = 0;
  std::uint64_t peelTripCount = 0;
  std::uint64_t bodyTripCount = 0;
  std::uint64_t vectorRemainderTripCount = 0;
  std::uint64_t scalarRemainderTripCount = 0;
};

std::uint64_t widen(int value) { return static_cast<std::uint64_t>(static_cast<std::int64_t>(value)); }

std::uint64_t iterationsOf(const CommonData& part) {
  return part.tripCountAverage * widen(part.unrollFactor) * widen(part.vectorLength);
}

// A remainder that is not part of a split loop: its own record is the whole
// aggregate. A scalar one counts its iterations without the vector length.
void takeAlone(const CommonData& data, Parts& parts) {
  parts.maxVectorLength = data.vectorLength;
  parts.maxUnrollFactor = data.unrollFactor;
  parts.allHaveTripCounts = data.tripCountsValid;
  parts.anyField36 = data.field36;
  parts.anyAvx512 = data.isAvx512;
  parts.anyField53Over1 = data.field53 > 1;
  parts.remainderCount = 1;
  if (data.isVectorized) {
    parts.vectorRemainderCount = 1;
    parts.vectorRemainderTime = data.totalTime;
    parts.vectorRemainderTripCount = data.tripCountAverage;
    parts.vectorRemainderIterations = iterationsOf(data);
  } else {
    parts.scalarRemainderTime = data.totalTime;
    parts.scalarRemainderTripCount = data.tripCountAverage;
    parts.scalarRemainderIterations = data.tripCountAverage * widen(data.unrollFactor);
  }
}

// A vector remainder of fewer elements than this is short; a length that
// can't divide gives no bound.
std::uint64_t shortRemainderBound(int vectorLength) {
  if (vectorLength <= 0) return 0;
  return static_cast<std::uint64_t>(kShortRemainderBudget / vectorLength);
}

void addPart(const CommonData& loop, const CommonData& child, Parts& parts) {
  // The maxima and the flags count every part, also one that ran too
  // briefly to be summed.
  parts.maxVectorLength = std::max(parts.maxVectorLength, child.vectorLength);
  parts.maxUnrollFactor = std::max(parts.maxUnrollFactor, child.unrollFactor);
  parts.anyField36 = parts.anyField36 || child.field36;
  parts.anyAvx512 = parts.anyAvx512 || child.isAvx512;
  parts.anySimdMarked = parts.anySimdMarked || child.typeFlag512;
  if (child.isVectorized && child.isRemainderPart) parts.hasVectorRemainder = true;

  const std::uint64_t iterations = iterationsOf(child);
  double time = child.totalTime;
  if (child.tripCountsValid && iterations != 0 && time <= kTimeEpsilon) time = kUnsampledPartTime;
  if (time < kTimeEpsilon) return;

  parts.allHaveTripCounts = parts.allHaveTripCounts && child.tripCountsValid;
  if (child.field53 > 1) parts.anyField53Over1 = true;

  if (child.isPeelPart) {
    parts.peelTime += time;
    parts.peelIterations += iterations;
    parts.peelTripCount += child.tripCountAverage;
    return;
  }
  if (child.isRemainderPart) {
    if (child.isVectorized) {
      parts.vectorRemainderTime += time;
      parts.vectorRemainderIterations += iterations;
      parts.vectorRemainderTripCount += child.tripCountAverage;
      ++parts.vectorRemainderCount;
      if (child.field92 < shortRemainderBound(child.vectorLength)) parts.shortVectorRemainder = true;
    } else {
      parts.scalarRemainderTime += time;
      parts.scalarRemainderIterations += iterations;
      parts.scalarRemainderTripCount += child.tripCountAverage;
    }
    ++parts.remainderCount;
    if (!parts.oneIterationRemainder && loop.typeFlag16384 && child.iterationCount == 1) {
      parts.oneIterationRemainder = true;
    }
    return;
  }
  parts.bodyTime += time;
  parts.bodyIterations += iterations;
  parts.bodyTripCount += child.tripCountAverage;
}

// The low-granularity and the peel and remainder traits say the split is
// the loop's problem whatever the times are.
bool hasBlockingTrait(const row_t& row) {
  for (auto traits = row->rowTraits(); !traits.at_end(); traits.next()) {
    const sptr_t<ITrait>& trait = traits.current();
    if (!trait) continue;
    if (trait->getTraitId() == ITrait::LowGranularityFirst || trait->getTraitId() == ITrait::PeelRemainderFirst) {
      return true;
    }
  }
  return false;
}

// A remainder row stands alone unless its parent is a split loop; a parent
// whose kind can't be told is taken for one.
bool isLoneRemainder(const row_t& row) {
  const row_t parent = row->getParent();
  if (!parent) return true;
  const sptr_t<IMetadata> metadata = parent->getMetadata();
  return metadata && !metadata->hasType(IMetadata::TypeSplitLoop);
}

// How many elements of the loop's main type the narrowest vector of its
// instruction set holds.
int idealVectorLengthOf(const CommonData& data) {
  int width = isa_helpers::getIsaMinVectorWidth(data.isaName);
  // An instruction set we can't size leaves the estimate with the vector
  // length the compiler chose: an ideal of one never exceeds it.
  if (width <= 0) return 1;
  const auto types = compiler_helpers::getDataTypesEqualTo(data.mainVectType);
  if (data.mainVectType != 0 && !types.empty()) {
    const std::string name = portability::to_lower(types.front().first);
    const int typeWidth = isa_helpers::getTypeMaxWidth(name);
    // AVX has full-width vectors for floating point only. The record holds
    // the name lowered, so only an unlowered name meets this test.
    if (name.find("int") != std::string::npos && data.isaName == "AVX") width /= 2;
    return typeWidth > 0 ? width / typeWidth : width / kDefaultTypeBits;
  }
  const int typeWidth = data.fieldPresence[DataTypeName] ? isa_helpers::getTypeMaxWidth(data.dataTypeName) : 0;
  return typeWidth > 0 ? width / typeWidth : width / kDefaultTypeBits;
}

}  // namespace

variant_bag_t IssuePeelRemainder::makePeelRemainderBag(std::uint64_t vectorLength, std::uint64_t tripCount,
                                                       std::uint64_t tripCountPeel, std::uint64_t unrollFactor,
                                                       std::uint64_t compilerMajorVersion) {
  variant_bag_t bag;
  VBagHelper::addVariantBag(bag, "vector_length", vectorLength);
  VBagHelper::addVariantBag(bag, "trip_count", tripCount);
  VBagHelper::addVariantBag(bag, "trip_count_peel", tripCountPeel);
  VBagHelper::addVariantBag(bag, "unroll_factor", unrollFactor);
  if (compilerMajorVersion != 0) VBagHelper::addVariantBag(bag, "compiler_major_version", compilerMajorVersion);
  return bag;
}

bool IssuePeelRemainder::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  const bool newCompiler = data.isVorexCompiler && data.compilerVersion.major > kLastOldCompilerMajor;
  const bool tooFewIterationsDiagnostic = data.vectorizationDiagnosticId == kTooFewIterationsDiagnostic;
  const std::string lang = getLangSuffix(data.isFortran);

  // ---- Gathering.
  Parts parts;
  bool blockingTrait = false;
  if (data.isRemainderPart && isLoneRemainder(row)) {
    takeAlone(data, parts);
  } else {
    if (!data.isSplitLoop) return false;
    blockingTrait = hasBlockingTrait(row);
    for (auto children = getChildren(row); !children.at_end(); children.next()) {
      if (!children.current()) continue;
      addPart(data, dataProvider->getData(children.current()), parts);
    }
  }

  const double remainderTime = parts.vectorRemainderTime + parts.scalarRemainderTime;
  const std::uint64_t remainderIterations = parts.vectorRemainderIterations + parts.scalarRemainderIterations;
  const std::uint64_t totalIterations = parts.bodyIterations + parts.peelIterations + remainderIterations;
  const bool hasIterations = totalIterations != 0;
  const std::uint64_t maxVectorLength = widen(parts.maxVectorLength);
  const std::uint64_t halfVectorLength = widen(parts.maxVectorLength / 2);

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::PeelRemainder), translate("peel_remainder_issue_title"),
                                         translateEx("peel_remainder_issue_text", lang), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());

  auto recommendation = [&](IRecommendation::RecommendationId id, const char* titleKey, const char* textKey,
                            int confidence) {
    issue->addRecommendation(createRecommendationWithConfidence(
        recommendationId(id, data), translate(titleKey), translateEx(textKey, lang), confidence, kRecommendationFlag));
  };
  auto withBag = [&](IRecommendation::RecommendationId id, const char* titleKey, const char* textKey,
                     const variant_bag_t& bag, int confidence) {
    issue->addRecommendation(createRecommendationWithParameters(recommendationId(id, data), translate(titleKey),
                                                                translateEx(textKey, lang), bag, confidence));
  };
  auto partsBag = [&](std::uint64_t compilerMajorVersion) {
    return makePeelRemainderBag(maxVectorLength, totalIterations, parts.peelIterations, widen(parts.maxUnrollFactor),
                                compilerMajorVersion);
  };

  // A loop whose only problem is its unrolling hears just that.
  if (data.typeFlag2048) {
    recommendation(IRecommendation::PeelRemainderRecUnrollPrevents, "peel_remainder_rec_unroll_prevents_title",
                   "peel_remainder_rec_unroll_prevents_text", kConfidenceLow);
    issues->push_back(issue);
    return true;
  }

  bool wantLoopCount = false;
  int loopCountConfidence = kConfidenceLow;
  bool wantRunTripCount = false;

  const bool significant = parts.bodyTime < kTimeEpsilon || blockingTrait || tooFewIterationsDiagnostic ||
                           parts.peelTime + remainderTime > parts.bodyTime;

  // ---- Remedies for the compiler's own choices.
  if (significant) {
    bool compilerChoicesOnly = false;  // the paths that ask for no loop count
    if (!newCompiler) {
      if (parts.allHaveTripCounts && totalIterations > 1 && !parts.anyField53Over1 && !parts.anyAvx512) {
        recommendation(IRecommendation::PeelRemainderRecLoopCount, "peel_remainder_rec_loop_count_title",
                       "peel_remainder_rec_loop_count_text", kConfidenceLow);
      }
      recommendation(IRecommendation::PeelRemainderRecUnrollPrevents, "peel_remainder_rec_unroll_prevents_title",
                     "peel_remainder_rec_unroll_prevents_text", kConfidenceLow);
      compilerChoicesOnly = true;
    } else {
      if (parts.maxUnrollFactor > 1) {
        int confidence = kConfidenceLow;
        if (parts.allHaveTripCounts && parts.anyField36 && totalIterations != 0 && parts.maxVectorLength > 0 &&
            totalIterations >= maxVectorLength && totalIterations / widen(parts.maxUnrollFactor) < maxVectorLength) {
          confidence = kConfidenceHigh;
        } else if (parts.allHaveTripCounts && parts.anyField36 && totalIterations == 0) {
          confidence = kConfidenceLow;
        } else {
          confidence = parts.allHaveTripCounts && totalIterations > 2 ? kConfidenceHigh : kConfidenceLow;
        }
        withBag(IRecommendation::PeelRemainderRecUnrollPrevents, "peel_remainder_rec_unroll_prevents_title",
                "peel_remainder_rec_unroll_prevents_text", partsBag(0), confidence);
      }
      if (parts.anyAvx512) {
        if (parts.hasVectorRemainder && parts.scalarRemainderIterations == 0 && parts.shortVectorRemainder) {
          recommendation(IRecommendation::PeelRemainderForceScalarRemainder,
                         "peel_remainder_force_scalar_remainder_title", "peel_remainder_force_scalar_remainder_text",
                         kConfidenceLow);
        }
        compilerChoicesOnly = true;
      } else {
        loopCountConfidence = parts.anyField53Over1 ? kConfidenceLow : kConfidenceMedium;
        wantLoopCount = !parts.anyField53Over1;
        if (!parts.hasVectorRemainder) {
          const bool sure = parts.allHaveTripCounts && parts.anyField36 && remainderIterations >= halfVectorLength;
          recommendation(IRecommendation::PeelRemainderRecEnforceVecremainder,
                         "peel_remainder_rec_enforce_vecremainder_title",
                         "peel_remainder_rec_enforce_vecremainder_text", sure ? kConfidenceHigh : kConfidenceLow);
        }
        const variant_bag_t versionBag = partsBag(widen(data.compilerVersion.major));
        if (parts.allHaveTripCounts) {
          if (totalIterations > 1 && parts.maxVectorLength > 0 && totalIterations < maxVectorLength) {
            withBag(IRecommendation::PeelRemainderRecVectorlength, "peel_remainder_rec_vectorlength_title",
                    "peel_remainder_rec_vectorlength_text", versionBag,
                    parts.anyField36 ? kConfidenceHigh : kConfidenceLow);
          }
        } else if (parts.maxVectorLength > 2) {
          withBag(IRecommendation::PeelRemainderRecVectorlength, "peel_remainder_rec_vectorlength_title",
                  "peel_remainder_rec_vectorlength_text", versionBag, kConfidenceLow);
        }
      }
    }
    if (compilerChoicesOnly) {
      wantLoopCount = false;
      loopCountConfidence = kConfidenceLow;
    }
    wantRunTripCount = !hasIterations;
  }

  // ---- SIMD modifier and alignment.
  bool alignDone = false;
  bool alignByRule = true;
  bool modifierApplies = false;
  if (data.typeFlag16384) {
    modifierApplies = hasIterations
                          ? parts.peelIterations != 0 || (remainderIterations != 0 && !parts.oneIterationRemainder)
                          : parts.peelTime > kTimeEpsilon || remainderTime > kTimeEpsilon;
  }
  if (modifierApplies) {
    const int confidence = hasIterations ? kConfidenceHigh : kConfidenceLow;
    if (parts.anySimdMarked) {
      recommendation(IRecommendation::PeelRemainderRecOmpSimdModifier, "peel_remainder_rec_omp_simd_modifier_title",
                     "peel_remainder_rec_omp_simd_modifier_text", confidence);
    } else {
      recommendation(IRecommendation::PeelRemainderRecAutoSimdModifier, "peel_remainder_rec_auto_simd_modifier_title",
                     "peel_remainder_rec_auto_simd_modifier_text", confidence);
    }
    if (hasIterations && parts.peelIterations != 0) {
      recommendation(IRecommendation::PeelRemainderRecAlign, "peel_remainder_rec_align_title",
                     "peel_remainder_rec_align_text", kConfidenceHigh);
      alignDone = true;
      alignByRule = false;
    }
  }
  if (alignByRule) {
    const bool countsKnownAndLarge = parts.allHaveTripCounts && totalIterations > 2;
    if (parts.allHaveTripCounts && parts.maxVectorLength > 0 &&
        remainderIterations + parts.peelIterations >= maxVectorLength && parts.bodyIterations < kFewBodyIterations &&
        parts.peelIterations != 0) {
      recommendation(IRecommendation::PeelRemainderRecAlign, "peel_remainder_rec_align_title",
                     "peel_remainder_rec_align_text", parts.anyField36 ? kConfidenceHigh : kConfidenceLow);
      alignDone = true;
    } else {
      int confidence = 0;  // no rule fits
      if (!parts.allHaveTripCounts && parts.bodyTime > kTimeEpsilon && parts.peelTime > parts.bodyTime) {
        confidence = parts.remainderCount > parts.vectorRemainderCount ? kConfidenceHigh : kConfidenceLow;
      } else if (!parts.allHaveTripCounts && parts.bodyTime > kTimeEpsilon && parts.peelTime > kTimeEpsilon &&
                 parts.peelTime + remainderTime > parts.bodyTime) {
        confidence = kConfidenceLow;
      } else if (parts.peelTime < kTimeEpsilon && parts.bodyTime < kTimeEpsilon && parts.remainderCount == 1 &&
                 parts.vectorRemainderCount == 0 && (countsKnownAndLarge || !hasIterations)) {
        confidence = countsKnownAndLarge ? kConfidenceHigh : kConfidenceLow;
      }
      if (confidence != 0) {
        recommendation(IRecommendation::PeelRemainderRecAlign, "peel_remainder_rec_align_title",
                       "peel_remainder_rec_align_text", confidence);
        alignDone = true;
        if (!hasIterations) wantRunTripCount = true;
      }
    }
  }

  // ---- Padding.
  auto askLoopCount = [&] {
    if (!wantLoopCount) {
      wantLoopCount = true;
      loopCountConfidence = kConfidenceLow;
    }
  };
  if (remainderTime > kTimeEpsilon) {
    const bool remainderHeavy =
        (parts.bodyTime > kTimeEpsilon && remainderTime > parts.bodyTime) ||
        (parts.bodyTime > kTimeEpsilon && parts.allHaveTripCounts &&
         remainderTime > parts.bodyTime / static_cast<double>(parts.bodyIterations)) ||
        (parts.bodyTime < kTimeEpsilon && remainderTime > kTimeEpsilon && tooFewIterationsDiagnostic);
    if (remainderHeavy) {
      const int confidence = parts.remainderCount > parts.vectorRemainderCount ? kConfidenceHigh : kConfidenceLow;
      if (!alignDone && parts.peelTime > kTimeEpsilon) {
        recommendation(IRecommendation::PeelRemainderRecAlign, "peel_remainder_rec_align_title",
                       "peel_remainder_rec_align_text", confidence);
        alignDone = true;
      }
      withBag(IRecommendation::PeelRemainderRecPadding, "peel_remainder_rec_padding_title",
              "peel_remainder_rec_padding_text", partsBag(0), confidence);
      askLoopCount();
      if (!hasIterations) wantRunTripCount = true;
    } else if (alignDone) {
      withBag(IRecommendation::PeelRemainderRecPadding, "peel_remainder_rec_padding_title",
              "peel_remainder_rec_padding_text", partsBag(0), kConfidenceLow);
      askLoopCount();
    }
  } else if (alignDone) {
    withBag(IRecommendation::PeelRemainderRecPadding, "peel_remainder_rec_padding_title",
            "peel_remainder_rec_padding_text", partsBag(0), kConfidenceLow);
    askLoopCount();
  }

  // ---- Asking for data.
  const bool edgeOutweighsBody =
      parts.peelTime + remainderTime >
      std::max(0.1 * parts.bodyTime, parts.bodyTime / static_cast<double>(parts.maxVectorLength));
  if (!hasIterations && edgeOutweighsBody) wantRunTripCount = true;
  if (wantRunTripCount) {
    withBag(IRecommendation::PeelRemainderRecRunTripCount, "peel_remainder_rec_run_trip_count_title",
            "peel_remainder_rec_run_trip_count_text",
            createNoAnalysisDisclaimerBag(IResultController::ResultTripCounts, wantRunTripCount), kConfidenceMedium);
  }
  const variant_bag_t disclaimer = createNoAnalysisDisclaimerBag(IResultController::ResultTripCounts, wantRunTripCount);
  if (wantLoopCount) {
    withBag(IRecommendation::PeelRemainderRecLoopCount, "peel_remainder_rec_loop_count_title",
            "peel_remainder_rec_loop_count_text", disclaimer, loopCountConfidence);
  } else if (!hasIterations && !parts.anyAvx512 && edgeOutweighsBody) {
    withBag(IRecommendation::PeelRemainderRecLoopCount, "peel_remainder_rec_loop_count_title",
            "peel_remainder_rec_loop_count_text", disclaimer, kConfidenceLow);
  }

  // ---- Dynamic alignment and the estimate, which need iterations.
  if (hasIterations) {
    // A vector length of 0 can come only from a lone remainder's record; it
    // gives no remainder to compare with.
    if (!alignDone && parts.peelTripCount != 0 && maxVectorLength != 0 &&
        totalIterations % maxVectorLength < halfVectorLength) {
      // One key serves as title and text.
      issue->addRecommendation(createRecommendationWithConfidence(
          recommendationId(IRecommendation::RecPeelRemainderDisableDynamicAlign, data),
          translate("rec_peel_remainder_disable_dynamic_align"),
          translateEx("rec_peel_remainder_disable_dynamic_align", lang), kConfidenceLow, kRecommendationFlag));
    }

    if (!parts.anyAvx512) {
      const int idealVectorLength = idealVectorLengthOf(data);
      const std::uint64_t perStep =
          widen(parts.maxUnrollFactor) * widen(std::max(idealVectorLength, parts.maxVectorLength));
      // Iterations are products with the unroll factor, so a loop with
      // iterations has a factor; a record with a negative one has not.
      if (perStep != 0) {
        const float loopTime = static_cast<float>(parts.bodyTime + parts.peelTime + remainderTime);
        const std::uint64_t quotient = (totalIterations - 1) / perStep;
        const int steps = static_cast<int>(static_cast<std::uint32_t>(quotient) + 1u);
        const float ideal = kBodyCost * static_cast<float>(steps) / static_cast<float>(parts.maxUnrollFactor);
        const float actual = kPeelCost * static_cast<float>(parts.peelTripCount) +
                             kBodyCost * static_cast<float>(parts.bodyTripCount) +
                             kVectorRemainderCost * static_cast<float>(parts.vectorRemainderTripCount) +
                             kScalarRemainderCost * static_cast<float>(parts.scalarRemainderTripCount);
        issue->setValue(IRecommendationBase::impactId(), loopTime - ideal / actual * loopTime);
      }
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
