#include "discmodels2/recommendations_model/detectors/calls/issue_indirect_calls.h"

#include <utility>

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using system_info::SystemInfo;

namespace {

// C libraries before this version predict indirect branches of the math
// dispatch poorly on the machine value below.
constexpr GlibcVer kOldestFastGlibc{2, 23};
// The machine value is compared as an IsaExtensions level. The scan driver
// hands the detector the CPU type in that place, so in a scan this is CPU
// type 14, the many-core family (SystemInfo::CpuManyCore has the same
// number), whose simple cores predict indirect branches worst.
constexpr SystemInfo::IsaExtensions kBranchPredictionMachine = SystemInfo::IsaAvx512Vnni;
static_assert(static_cast<int>(kBranchPredictionMachine) == SystemInfo::CpuManyCore);
constexpr int kFirstVectorCallCompiler = 17;
// How deep the walk below the loop looks for the indirect call.
constexpr int kAssemblerDepth = 2;

constexpr const char* kRecKeyStems[] = {
    "indirect_call_rec_simd",
    "indirect_call_rec_move",
    "indirect_call_rec_proxy",
    "indirect_call_rec_branch_prediction",
};

}  // namespace

IssueIndirectCalls::IssueIndirectCalls(std::shared_ptr<IDataProvider> dataProvider, SystemInfo::IsaExtensions isa)
    : IssueDetector(std::move(dataProvider)), isa(isa) {}

bool IssueIndirectCalls::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.callsUserFunctions && !data.callsSystemFunctions) return false;
  if (data.callsSystemFunctionsDirectly || data.isSplitLoop) return false;
  if (!data.isVectorized && !data.isInnermostLoop) return false;

  const sptr_t<AssemblerRowVisitHandler> walk = dataProvider->visitRowsForAssembler(row, kAssemblerDepth);
  if (!walk || !walk->indirectCallFound()) return false;

  const std::string& suffix = getLangSuffix(data.isFortran);
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::IndirectCalls), translate("indirect_call_issue_title"),
                                         translateEx("indirect_call_issue_text", suffix), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());
  auto add = [&](IRecommendation::RecommendationId id, const char* stem) {
    issue->addRecommendation(createRecommendation(recommendationId(id, data), translate(std::string(stem) + "_title"),
                                                  translateEx(std::string(stem) + "_text", suffix),
                                                  kRecommendationFlag, variant_bag_t(), kConfidenceLow, kNoPriority));
  };

  if (data.hasCppNames && data.isVorexCompiler && data.compilerVersion.major >= kFirstVectorCallCompiler) {
    add(IRecommendation::IndirectCallRecSimd, kRecKeyStems[0]);
  } else {
    add(IRecommendation::IndirectCallRecMove, kRecKeyStems[1]);
  }
  if (data.hasCppNames) add(IRecommendation::IndirectCallRecProxy, kRecKeyStems[2]);

  bool fastGlibc = false;
  for (const GlibcVer& version : data.glibcVersions) {
    if (!(version < kOldestFastGlibc)) {
      fastGlibc = true;
      break;
    }
  }
  if (!fastGlibc && isa == kBranchPredictionMachine) {
    add(IRecommendation::IndirectCallRecBranchPrediction, kRecKeyStems[3]);
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
