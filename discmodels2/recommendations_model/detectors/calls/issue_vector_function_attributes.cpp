#include "discmodels2/recommendations_model/detectors/calls/issue_vector_function_attributes.h"

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "platform/model_support/isa_helpers.h"
#include "platform/model_support/issue_helpers.h"
#include "platform/model_support/mangle_rules_helpers.h"
#include "platform/model_support/traits_helpers.h"

namespace data_models2::issues {

using namespace data_abstractions2;
namespace mangle = mangle_rules_helpers;

namespace {

// The recommendations of this detector carry bit 0 beside the usual 8.
constexpr unsigned kAttributeRecommendationFlags = kRecommendationFlag | kIssueClass;
// The conditions of "a vector function's argument accessed through gathers".
constexpr int kGatheredArgumentClasses = 11;
// Parameters passed in a way that needs no linear reference.
constexpr unsigned kNotByValue = mangle::ParamLinear | mangle::ParamLinearRef | mangle::ParamLinearUval |
                                 mangle::ParamLinearVal | mangle::ParamUniform;

bool gathersItsArguments(const CommonData& callee) {
  for (const traits_helpers::InstClass& entry : traits_helpers::getInstClasses(kGatheredArgumentClasses)) {
    if (traits_helpers::checkInstClasses(callee.instructionSets, entry)) return true;
  }
  return false;
}

}  // namespace

bool IssueVectorFunctionAttributes::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.isVectorized || data.isSplitLoop) return false;

  const std::string& suffix = getLangSuffix(data.isFortran);
  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::VectorFunctionAttributes),
                                         translate("vector_function_attr_issue_title"),
                                         translateEx("vector_function_attr_issue_text", suffix), kIssuePriority,
                                         issueFlags(data, kIssueClass), variant_bag_t());

  for (auto callees = dataProvider->getBottomUpChildren(row); !callees.at_end(); callees.next()) {
    const CommonData& callee = dataProvider->getData(callees.current());
    const std::string& name = callee.mangledName;
    if (!callee.fieldPresence[FunctionName]) continue;
    const bool isVectorFunction = issue_helpers::isVectorFunctionByMangledName(name);

    if (callee.fieldPresence[Isa] && callee.fieldPresence[MangledName] && isVectorFunction) {
      const int loopIsa = isa_helpers::getIsaType(data.isaName);
      // Without the loop's own instruction set there is nothing to compare.
      if (loopIsa == isa_helpers::IsaTypeUnknown) continue;
      mangle::VectorFunctionDescriptor descriptor;
      if (!mangle::demangleVectorFunctionName(name, descriptor)) continue;
      if (loopIsa < descriptor.isa) {
        issue->addRecommendation(createRecommendationWithConfidence(
            recommendationId(IRecommendation::AddProcessorSpecification, data),
            translate("add_processor_specification_title"), translateEx("add_processor_specification_text", suffix),
            kConfidenceHigh, kAttributeRecommendationFlags));
      }
    }

    if (data.isFortran && isVectorFunction) {
      if (!gathersItsArguments(callee)) continue;
      mangle::VectorFunctionDescriptor descriptor;
      if (!mangle::demangleVectorFunctionName(name, descriptor)) continue;
      for (const mangle::VectorParameter& parameter : descriptor.parameters) {
        if ((parameter.kind & kNotByValue) != 0) continue;
        issue->addRecommendation(createRecommendation(
            recommendationId(IRecommendation::AddLinearRef, data), translate("add_linear_ref_title"),
            translateEx("add_linear_ref_text", suffix), kAttributeRecommendationFlags, variant_bag_t(),
            kConfidenceLow, kNoPriority));
        break;
      }
    }
  }

  if (issue->getRecommendations().at_end()) return false;
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
