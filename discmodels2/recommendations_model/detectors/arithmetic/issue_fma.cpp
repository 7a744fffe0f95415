#include "discmodels2/recommendations_model/detectors/arithmetic/issue_fma.h"

#include <set>
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

const class_mask_t kFusedClass = classMaskOfBits({22});
const class_mask_t kMultiplyClass = classMaskOfBits({1});
const class_mask_t kAddClasses = classMaskOfBits({0, 2});

// Destination kinds: a memory operand is a result only in scalar code, where
// a spilled product is reloaded; in vector code it is a store.
constexpr unsigned kMemoryDestination = 1;
constexpr unsigned kRegisterDestination = 2;

const std::vector<std::string> kIsaOptionPatterns = {"(Q)?(a)?x([A-Z\\-])+AVX\\d"};
const std::vector<std::string> kArchOptionPatterns = {"(arch|m|march)(:|=)?CORE-AVX2"};
const std::vector<std::string> kHostOptionPatterns = {"(Q)?xHOST"};
const std::vector<std::string> kStrictOptionPatterns = {"fp:strict", "fp-model\\s+strict"};
const std::vector<std::string> kFmaOptionPatterns = {"Qfma(-)?", "(no)?-fma"};

// Stems of the recommendations made with flags.
constexpr const char* kTargetKeyStems[] = {
    "fma_rec_target_avx2_isa",
    "fma_rec_target_specific_isa",
    "fma_rec_explicitly_enable",
};

// What the walk over a loop found: a fused instruction, and a multiplication
// whose destination a later addition or subtraction reads.
struct Walk {
  bool hasFusedInstruction = false;
  bool hasFusablePair = false;
};

Walk walkLines(const assembler_analysis::AssemblerLines& lines, bool isVectorized) {
  Walk walk;
  std::set<std::string> multiplyResults;
  for (const AssemblerLine& line : lines) {
    if (line.operandCount() == 0) continue;
    if (line.hasType(kFusedClass)) {
      walk.hasFusedInstruction = true;
      break;
    }
    if (walk.hasFusablePair) continue;

    const assembler_analysis::Operand& destination = line.operand(0);
    const bool candidate = (destination.hasKind(kMemoryDestination) && !isVectorized) ||
                           destination.hasKind(kRegisterDestination);
    if (!candidate) continue;
    if (line.hasType(kMultiplyClass)) multiplyResults.insert(destination.text());
    if (line.hasType(kAddClasses) && line.operandCount() > 1) {
      // The two-operand forms read their destination too; so does any
      // line whose first operand is only a source.
      const std::size_t first =
          line.operandCount() == 2 || destination.access() == assembler_analysis::AccessRead ? 0 : 1;
      for (std::size_t i = first; i < line.operandCount(); ++i) {
        if (multiplyResults.count(line.operand(i).text())) {
          walk.hasFusablePair = true;
          break;
        }
      }
    }
  }
  return walk;
}

}  // namespace

IssueFMA::IssueFMA(std::shared_ptr<IDataProvider> dataProvider, SystemInfo::IsaExtensions isa,
                   sptr_t<ISurveyingViewModel> surveyModel)
    : IssueDetector(std::move(dataProvider)), isa(static_cast<int>(isa)), surveyModel(std::move(surveyModel)) {}

bool IssueFMA::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !surveyModel || !issues) return false;
  const CommonData& data = dataProvider->getData(row);

  if (data.isSplitLoop || data.isPeelPart || data.isRemainderPart) return false;
  if (data.innerLoopCount > 0 && !data.isVectorized) return false;
  if (!data.isVorexCompiler) return false;

  const auto lines = dataProvider->getAssemblerLines(row, nullptr);
  if (!lines) return false;
  const Walk walk = walkLines(*lines, data.isVectorized);
  if (!walk.hasFusedInstruction && !walk.hasFusablePair) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::FMA), translate("fma_issue_title"),
                                         translate("fma_issue_text"), kIssuePriority, issueFlags(data, kIssueClass),
                                         variant_bag_t());
  const std::string& suffix = getLangSuffix(data.isFortran);

  if (walk.hasFusedInstruction && data.dependencyPresence != 2 &&
      isPotentialVectorized(row, dataProvider, surveyModel)) {
    issue->addRecommendation(createRecommendationWithParameters(
        recommendationId(IRecommendation::FmaRecEnforceVec, data), translate("fma_rec_enforce_vec_title"),
        translateEx("fma_rec_enforce_vec_text", suffix),
        createNoAnalysisDisclaimerBag(IResultController::ResultDependencies, data.dependencyPresence == 1),
        kConfidenceLow));
  }

  // Target advice needs a machine that fuses: AVX2 or newer.
  if (walk.hasFusablePair && isa >= static_cast<int>(SystemInfo::IsaAvx2)) {
    using compiler_helpers::hasAnyOfCompilerFlags;
    const bool hasIsaOption = hasAnyOfCompilerFlags(data.compilerFlags, kIsaOptionPatterns, true);
    const bool hasArchOption = hasAnyOfCompilerFlags(data.compilerFlags, kArchOptionPatterns, true);
    const bool hasHostOption = hasAnyOfCompilerFlags(data.compilerFlags, kHostOptionPatterns, true);
    const bool hasStrictOption = hasAnyOfCompilerFlags(data.compilerFlags, kStrictOptionPatterns, true);
    const bool hasFmaOption = hasAnyOfCompilerFlags(data.compilerFlags, kFmaOptionPatterns, true);

    auto addWithFlags = [&](IRecommendation::RecommendationId id, const std::string& stem) {
      issue->addRecommendation(createRecommendation(recommendationId(id, data), translate(stem + "_title"),
                                                    translateEx(stem + "_text", suffix), kRecommendationFlag,
                                                    variant_bag_t(), kConfidenceLow, kNoPriority));
    };
    // Code built for an older set than AVX2 has no fused forms to use.
    if (data.isaType < SystemInfo::IsaAvx2) {
      if (hasHostOption) {
        addWithFlags(IRecommendation::FmaRecTargetSpecificIsa, kTargetKeyStems[1]);
      } else if (!hasIsaOption && !hasArchOption) {
        addWithFlags(IRecommendation::FmaRecTargetAvx2Isa, kTargetKeyStems[0]);
      }
    }
    // A strict model forbids fusing, which rounds once instead of twice,
    // unless fusing is asked for by name.
    if ((hasIsaOption || hasArchOption || hasHostOption) && hasStrictOption && !hasFmaOption) {
      addWithFlags(IRecommendation::FmaRecExplicitlyEnable, kTargetKeyStems[2]);
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
