#include "discmodels2/recommendations_model/detectors/vectorization/issue_cdi.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Instruction-mix columns of the two classes the directive is about.
constexpr int kPresentColumn = 77;
constexpr int kAbsentColumn = 78;

bool isPositive(const variant_t& value) {
  if (value.is_integer()) return value.as_i64() > 0;
  if (value.is_floating()) return value.as_double() > 0.0;
  return false;
}

bool isZero(const variant_t& value) {
  if (value.is_integer()) return value.as_i64() == 0;
  if (value.is_floating()) return value.as_double() == 0.0;
  return false;
}

}  // namespace

bool IssueCDI::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::CDI), translate("cdi_issue_title"),
                                         translate("cdi_issue_text"), kIssuePriority, issueFlags(data, kIssueClass),
                                         variant_bag_t());

  const sptr_t<IMetadata> metadata = row->getMetadata();
  const bool eligible = metadata && (metadata->hasType(4096) || metadata->hasType(256)) &&
                        metadata->hasType(IMetadata::TypeInnermost) && !metadata->hasType(IMetadata::TypeSplitLoop) &&
                        !data.instructionMix.empty();
  if (!eligible) return false;

  const auto present = data.instructionMix.find(kPresentColumn);
  const auto absent = data.instructionMix.find(kAbsentColumn);
  if (present == data.instructionMix.end() || absent == data.instructionMix.end()) return false;
  if (!isPositive(present->second) || !isZero(absent->second)) return false;

  issue->addRecommendation(createRecommendationWithConfidence(
      recommendationId(IRecommendation::AddIvdep, data), translate("add_ivdep_title"),
      translateEx("add_ivdep_text", getLangSuffix(data.isFortran)), kConfidenceLow, kRecommendationFlag));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
