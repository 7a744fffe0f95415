#include "discmodels2/recommendations_model/detectors/arithmetic/issue_reciprocal.h"

#include <string>
#include <utility>
#include <vector>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/detector_helpers.h"
#include "platform/assembler_analysis/assembler_lines.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using assembler_analysis::AssemblerLine;
using assembler_analysis::class_mask_t;
using assembler_analysis::classMaskOfBits;
using system_info::SystemInfo;

namespace {

const class_mask_t kDivideClasses = classMaskOfBits({3, 10});
const class_mask_t kPackedClass = classMaskOfBits({58});
// Every reciprocal and reciprocal square root approximation, 12-bit to 28-bit.
const class_mask_t kReciprocalClasses = classMaskOfBits({44, 45, 46, 47, 48, 49});

const std::vector<std::string> kAvx512TargetPatterns = {"(Q)?(a)?x([A-Z])+-AVX512"};
const std::vector<std::string> kManyCoreTargetPatterns = {"(Q)?(a)?xZQR-AVX512"};

// Stems of the recommendations made with flags.
constexpr const char* kRecompileKeyStems[] = {
    "reciprocals_rec_recompile_with_AVX512",
    "reciprocals_rec_recompile_with_ZQR",
    "reciprocals_rec_fine_tune_accuracy",
};

// Options that set the accuracy of division and square root (or of the
// whole floating-point model): when one is there, it can be tuned.
const std::vector<std::string>& accuracyFlagPatterns() {
  static const std::vector<std::string> patterns = {
      "fp-model",
      "fp:",
      "(Q|f)imf-precision",
      "(Q|f)imf-accuracy-bits",
      "(Q|f)imf-max-error",
      "(Q|f)imf-absolute-error",
      "(Q|f)imf-domain-exclusion",
      "(Q|f)imf-arch-consistency",
      "(Q)?prec-div",
      "(Q)?prec-sqrt",
  };
  return patterns;
}

}  // namespace

IssueReciprocal::IssueReciprocal(std::shared_ptr<IDataProvider> dataProvider, SystemInfo::IsaExtensions isa,
                                 SystemInfo::CPUType cpu, sptr_t<ISurveyingViewModel> surveyModel)
    : IssueDetector(std::move(dataProvider)),
      surveyModel(std::move(surveyModel)),
      isa(static_cast<int>(isa)),
      cpu(static_cast<int>(cpu)) {}

bool IssueReciprocal::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !surveyModel || !issues) return false;
  const CommonData& data = dataProvider->getData(row);

  const sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || metadata->hasType(IMetadata::TypeRemainderPart) || metadata->hasType(IMetadata::TypePeelPart)) {
    return false;
  }
  if (data.innerLoopCount > 0 && !data.isVectorized) return false;
  if (!data.isVorexCompiler) return false;

  const auto lines = dataProvider->getAssemblerLines(row, nullptr);
  if (!lines) return false;
  bool hasDivide = false;
  bool hasPackedDivide = false;
  bool hasPackedReciprocal = false;
  for (const AssemblerLine& line : *lines) {
    if (line.operandCount() == 0) continue;
    if (line.hasType(kDivideClasses)) {
      hasDivide = true;
      if (line.hasType(kPackedClass)) hasPackedDivide = true;
    } else if (line.hasType(kReciprocalClasses) && line.hasType(kPackedClass)) {
      hasPackedReciprocal = true;
    }
  }
  // Nothing to replace, or the compiler uses the cheap form already.
  if (!hasDivide || hasPackedReciprocal) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::Reciprocal), translate("issue_reciprocals_title"),
                                         translate("issue_reciprocals_text"), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  const std::string& suffix = getLangSuffix(data.isFortran);
  const bool collectedOnAvx512 = isa >= static_cast<int>(SystemInfo::IsaAvx512);

  if (collectedOnAvx512 && data.dependencyPresence != 2 && isPotentialVectorized(row, dataProvider, surveyModel)) {
    issue->addRecommendation(createRecommendationWithParameters(
        recommendationId(IRecommendation::RecReciprocalsEnforceVec, data), translate("rec_reciprocals_enforce_vec_title"),
        translateEx("rec_reciprocals_enforce_vec_text", suffix),
        createNoAnalysisDisclaimerBag(IResultController::ResultDependencies, data.dependencyPresence == 1),
        kConfidenceLow));
  }

  if (hasPackedDivide) {
    const bool avx512Flag = compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, kAvx512TargetPatterns, true);
    const bool manyCoreFlag =
        compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, kManyCoreTargetPatterns, true);
    auto addWithFlags = [&](IRecommendation::RecommendationId id, const std::string& stem) {
      issue->addRecommendation(createRecommendation(recommendationId(id, data), translate(stem + "_title"),
                                                    translateEx(stem + "_text", suffix), kRecommendationFlag,
                                                    variant_bag_t(), kConfidenceLow, kNoPriority));
    };
    if (collectedOnAvx512) {
      // The generic AVX-512 pattern matches the many-core option too, so a
      // many-core build gets neither recommendation.
      if (cpu == SystemInfo::CpuManyCore && !manyCoreFlag) {
        addWithFlags(IRecommendation::ReciprocalsRecRecompileWithZQR, kRecompileKeyStems[1]);
      } else if (!avx512Flag) {
        addWithFlags(IRecommendation::ReciprocalsRecRecompileWithAVX512, kRecompileKeyStems[0]);
      }
    }
    // The loop's own code is AVX-512 and an accuracy option is set: that
    // option, not the target, keeps the exact instructions.
    if (data.isAvx512 && compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, accuracyFlagPatterns(), true)) {
      addWithFlags(IRecommendation::ReciprocalsRecFineTuneAccuracy, kRecompileKeyStems[2]);
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
