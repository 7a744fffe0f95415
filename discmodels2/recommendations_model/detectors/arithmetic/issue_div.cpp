#include "discmodels2/recommendations_model/detectors/arithmetic/issue_div.h"

#include <set>
#include <string>
#include <vector>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "platform/assembler_analysis/assembler_lines.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using assembler_analysis::AssemblerLine;
using assembler_analysis::class_mask_t;
using assembler_analysis::classMaskOfBits;

namespace {

const class_mask_t kDivideClass = classMaskOfBits({3});
const class_mask_t kSquareRootClass = classMaskOfBits({10});
const class_mask_t kMoveClass = classMaskOfBits({6});

// An immediate or a fixed address: a move from either loads a constant.
constexpr unsigned kConstantSourceKinds = 12;

// Each list is one option family; hasAnyOfCompilerFlags keeps its compiled
// form per list, so the lists live as long as the program.
const std::vector<std::string> kPreciseModelPatterns = {"fp:(strict|precise)", "fp-model\\s+(strict|precise)"};
const std::vector<std::string> kPrecDivPatterns = {"Qprec-div(-)?", "(no)?-prec-div"};
const std::vector<std::string> kPrecSqrtPatterns = {"Qprec-sqrt(-)?", "(no)?-prec-sqrt"};

bool isFloatingPoint(const std::string& dataType) { return dataType == "float" || dataType == "double"; }

}  // namespace

bool IssueDIV::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const auto lines = dataProvider->getAssemblerLines(row, nullptr);
  if (!lines) return false;
  const CommonData& data = dataProvider->getData(row);

  const bool hasPreciseModel = compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, kPreciseModelPatterns, true);
  const bool hasPrecDivOption = compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, kPrecDivPatterns, true);
  const bool hasPrecSqrtOption = compiler_helpers::hasAnyOfCompilerFlags(data.compilerFlags, kPrecSqrtPatterns, true);

  // The exact forms are what the user asked for, or AVX-512 has fast ones.
  if (hasPreciseModel || data.isAvx512) return false;

  const sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || !metadata->hasType(IMetadata::TypeInnermost)) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::DIV), translate("div_issue_title"),
                                         translate("div_issue_text"), kIssuePriority, issueFlags(data, kIssueClass),
                                         variant_bag_t());

  // Divisions are tracked by their last operand. A later line whose first
  // operand is a tracked one takes it out again, a second division into it
  // included.
  std::set<std::string> divisionTargets;
  bool hasSqrt = false;
  for (const AssemblerLine& line : *lines) {
    if (line.hasType(kDivideClass) && line.operandCount() > 0 && isFloatingPoint(line.operand(0).dataType()) &&
        !divisionTargets.count(line.operands().back().text())) {
      divisionTargets.insert(line.operands().back().text());
      continue;
    }
    if (line.hasType(kSquareRootClass)) hasSqrt = true;
    if (line.operandCount() > 0) divisionTargets.erase(line.operand(0).text());
  }
  for (const AssemblerLine& line : *lines) {
    // A line with one operand has no source to be a constant.
    if (line.hasType(kMoveClass) && line.operandCount() > 1 && line.operand(1).hasKind(kConstantSourceKinds)) {
      divisionTargets.erase(line.operand(0).text());
    }
  }

  const std::string& suffix = getLangSuffix(data.isFortran);
  if (!divisionTargets.empty() && !hasPrecDivOption) {
    issue->addRecommendation(createRecommendationWithConfidence(recommendationId(IRecommendation::AddDiv, data),
                                                                translate("add_div_title"),
                                                                translateEx("add_div_text", suffix), kConfidenceLow,
                                                                kRecommendationFlag));
  }
  if (hasSqrt && !hasPrecSqrtOption) {
    issue->addRecommendation(createRecommendationWithConfidence(recommendationId(IRecommendation::AddSqrt, data),
                                                                translate("add_sqrt_title"),
                                                                translateEx("add_sqrt_text", suffix), kConfidenceLow,
                                                                kRecommendationFlag));
  }
  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
