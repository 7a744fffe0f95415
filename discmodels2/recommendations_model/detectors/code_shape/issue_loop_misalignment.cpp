#include "discmodels2/recommendations_model/detectors/code_shape/issue_loop_misalignment.h"

#include <cstdint>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/core/get_children.h"
#include "platform/assembler_analysis/assembler_lines.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using system_info::SystemInfo;

namespace {

// Below this total time the loop is too cold to be worth a realignment.
constexpr double kMinTotalTime = 0.025;
// A loop of so few iterations spends its time entering and leaving.
constexpr std::uint64_t kFewIterations = 3;
// Processors other than the two families below hide the penalty in loops up
// to this many iterations (their loop stream buffers replay short loops).
constexpr std::uint64_t kShortLoopIterations = 1024;
// Fetch block sizes, smallest first.
constexpr std::uint64_t kFetchBlocks[] = {16, 32};

// Every decoded instruction counts towards the body's size; a byte that did
// not decode has no class at all and is left out (docs/assembler-classes.md).
const assembler_analysis::class_mask_t kBodyMask =
    assembler_analysis::classMask({assembler_analysis::InstructionClass::Instruction});

}  // namespace

bool IssueLoopMisalignment::needsAlignment(const row_t& row) const {
  const CommonData& data = dataProvider->getData(row);
  if (data.totalTime < kMinTotalTime || data.typeFlag2048) return false;

  if (data.fieldPresence[TripCountAverage]) {
    if (data.tripCountAverage <= kFewIterations) return false;
    const bool paysInShortLoops = cpuType == SystemInfo::CpuFamily10 || cpuType == SystemInfo::CpuFamily11;
    if (!paysInShortLoops && data.tripCountAverage <= kShortLoopIterations) return false;
  }

  const auto lines = dataProvider->getAssemblerLines(row, nullptr);
  if (!lines || lines->size() == 0) return false;

  const std::uint64_t start = (*lines)[0].address();
  std::uint64_t bodySize = 0;
  for (const auto& line : *lines) {
    if (line.hasType(kBodyMask)) bodySize += line.length();
  }
  // An empty body ends just before it starts, so a start on a boundary
  // counts as crossing; the sizes say what the block could hold.
  const std::uint64_t end = start + bodySize - 1;
  for (std::uint64_t block : kFetchBlocks) {
    if (bodySize <= block && start / block != end / block) return true;
  }
  return false;
}

bool IssueLoopMisalignment::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || !metadata->hasType(IMetadata::TypeLoop)) return false;

  const CommonData& data = dataProvider->getData(row);
  bool misaligned = false;
  if (data.isSplitLoop) {
    for (auto children = getChildren(row); !children.at_end() && !misaligned; children.next()) {
      misaligned = needsAlignment(children.current());
    }
  } else {
    misaligned = needsAlignment(row);
  }
  if (!misaligned) return false;

  sptr_t<IIssueEx> issue = createIssueEx(
      issueId(IIssueEx::LoopMisalignment), translate("loop_misalignment_issue_title"),
      translate("loop_misalignment_issue_text"), kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());
  issue->addRecommendation(createRecommendationWithConfidence(
      recommendationId(IRecommendation::AlignLoop, data), translate("align_loop_title"),
      translateEx("align_loop_text", getLangSuffix(data.isFortran)), kConfidenceLow, kRecommendationFlag));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
