#include "discmodels2/recommendations_model/detectors/code_shape/issue_registers_pressure.h"

#include <boost/make_shared.hpp>
#include <cstdint>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "platform/assembler_analysis/assembler_lines.h"
#include "platform/model_support/issue_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using assembler_analysis::AssemblerLines;
using assembler_analysis::PressureStatistic;

namespace {

// The two instruction categories whose share decides whether splitting the
// loop helps (docs/assembler-classes.md, "Masks in use").
AssemblerLines::Category categoryOf(std::initializer_list<unsigned> bits) {
  AssemblerLines::Category category;
  for (unsigned bit : bits) category.insert(assembler_analysis::classMaskOfBits({bit}));
  return category;
}

const AssemblerLines::Category kDataMovement =
    categoryOf({6, 7, 8, 9, 12, 13, 14, 15, 16, 17, 18, 19, 34, 39, 40, 41, 42, 43});
const AssemblerLines::Category kArithmetic = categoryOf({0, 1, 2, 3, 4, 5, 10, 22, 49, 50, 51, 52, 53, 54, 66, 67});

// Bit of the loop flags that says the compiler already split the loop.
constexpr int kAlreadySplitFlag = 2;

// With this little code of other kinds a loop is worth splitting from this
// many instructions on; with up to the second share, from the second size.
constexpr double kFewOtherShare = 0.05;
constexpr std::uint64_t kSplitSizeFewOther = 80;
constexpr double kSomeOtherShare = 0.4;
constexpr std::uint64_t kSplitSizeSomeOther = 160;

}  // namespace

bool IssueRegistersPressure::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.fieldPresence[Field22] || !data.fieldPresence[IsVectorized]) return false;
  if (!data.isVectorized || data.isSplitLoop || !data.isInnermostLoop) return false;

  sptr_t<IIssueEx> issue = createIssueEx(
      issueId(IIssueEx::RegistersPressure), translate("registers_pressure_issue_title"),
      translate("registers_pressure_issue_text"), kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());

  // A pressure record of its own, so that only this detector pays for the
  // analysis. Lines other detectors already made lack its figures: clear
  // them and have them made again, with the categories counted on the way.
  auto pressure = boost::make_shared<assembler_analysis::RegisterPressure>();
  pressure->enableAnalysis();
  auto lines = dataProvider->getAssemblerLines(row, pressure);
  if (!lines) return false;
  lines->clear();
  lines->setInstructionsCategory(kDataMovement);
  lines->setInstructionsCategory(kArithmetic);
  lines = dataProvider->getAssemblerLines(row, pressure);
  if (!lines) return false;

  const PressureStatistic used = pressure->getStatistic(PressureStatistic::VectorRegisters);
  const PressureStatistic spills = pressure->getStatistic(PressureStatistic::VectorSpills);
  const PressureStatistic fills = pressure->getStatistic(PressureStatistic::VectorFills);
  const PressureStatistic stackOperands = pressure->getStatistic(PressureStatistic::VectorStackOperands);

  const int maxRegisters = issue_helpers::maxRegistersNumber(data.field22, data.isaType);
  if (maxRegisters != used.registers) return false;
  if (spills.registers == 0 && fills.registers == 0 && stackOperands.registers == 0) return false;

  // A value stored and loaded back in the loop costs on every iteration; a
  // lone save before the loop does not.
  const bool roundTrips = spills.accesses > 0 || fills.accesses > 0 || stackOperands.accesses > 0;
  const int confidence = roundTrips ? kConfidenceHigh : kConfidenceLow;
  const std::string lang = getLangSuffix(data.isFortran);

  if (data.unrollFactor > 1) {
    issue->addRecommendation(createRecommendationWithConfidence(
        recommendationId(IRecommendation::RegistersPressureRecReduceFactor, data),
        translate("registers_pressure_rec_reduce_factor_title"),
        translateEx("registers_pressure_rec_reduce_factor_text", lang), confidence, kRecommendationFlag));
  } else if (!(data.loopFlags59 & kAlreadySplitFlag)) {
    const std::uint64_t total = lines->getInstructionMix()[assembler_analysis::MixAll];
    const std::uint64_t first = lines->getInstructionsCategoryReport(kDataMovement);
    const std::uint64_t second = lines->getInstructionsCategoryReport(kArithmetic);
    // A line of both categories counts twice, so the difference can wrap
    // and make the share huge; a loop without instructions makes it NaN.
    // Either way no size limit below holds and no split is advised.
    const double otherShare = static_cast<double>(total - first - second) / static_cast<double>(total);
    std::uint64_t limit = 0;  // no split helps a loop of mostly other code
    if (otherShare <= kFewOtherShare) {
      limit = kSplitSizeFewOther;
    } else if (otherShare <= kSomeOtherShare) {
      limit = kSplitSizeSomeOther;
    }
    if (limit != 0 && total >= limit) {
      issue->addRecommendation(createRecommendationWithConfidence(
          recommendationId(IRecommendation::RegistersPressureRecSplitLoop, data),
          translate("registers_pressure_rec_split_loop_title"),
          translateEx("registers_pressure_rec_split_loop_text", lang), confidence, kRecommendationFlag));
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
