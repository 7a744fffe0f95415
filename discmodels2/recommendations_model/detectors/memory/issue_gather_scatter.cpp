#include "discmodels2/recommendations_model/detectors/memory/issue_gather_scatter.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"
#include "platform/portability/strings.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

// Pattern names are asked for as "pattern_name_" and the compiler's code;
// these are the codes the catalogue names. Code 0 (nothing recognised) is
// named too: a variable kept for another gather reports its 0 gathers as
// well.
[[maybe_unused]] constexpr const char* kPatternNameKeys[] = {
    "pattern_name_0", "pattern_name_1", "pattern_name_2", "pattern_name_3", "pattern_name_4",
    "pattern_name_5", "pattern_name_6", "pattern_name_7", "pattern_name_8",
};
constexpr const char* kPatternNamePrefix = "pattern_name_";

// The issue's keys are its id string with "_title" and "_text" behind it.
[[maybe_unused]] constexpr const char* kIssueKeyStems[] = {"gather_scatter_issue"};

}  // namespace

bool IssueGatherScatter::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  if (!data.hasGatherInfo || data.gatherIndices.empty() || data.gathers.empty()) return false;

  // Codes are compared as texts: "3" and "03" are two patterns.
  std::map<std::string, std::string> patternByVariable;
  std::set<std::string> ambiguousVariables;
  for (const Gather& gather : data.gathers) {
    int code = 0;
    portability::str_to_int(gather.patternCode, code);
    if (code == 0 || gather.variableName.empty()) continue;
    const auto known = patternByVariable.find(gather.variableName);
    if (known != patternByVariable.end()) {
      if (known->second != gather.patternCode) {
        ambiguousVariables.insert(gather.variableName);
        patternByVariable.erase(known);
      }
      continue;
    }
    if (!ambiguousVariables.count(gather.variableName)) {
      patternByVariable.emplace(gather.variableName, gather.patternCode);
    }
  }
  if (patternByVariable.empty()) return false;

  const std::string id = issueId(IIssueEx::GatherScatter);
  sptr_t<IIssueEx> issue = createIssueEx(id, translate(id + "_title"), translate(id + "_text"), kIssuePriority,
                                         issueFlags(data, kMemoryIssueClass), variant_bag_t());

  variant_bag_t bag;
  variant_bag_t& list = bag.add_variant_bag("gather");
  VBagHelper::addAttribute(list, VBagHelper::VBagAttr<const char*>(VBagHelper::kArrayOf, VBagHelper::kItem));
  const std::int64_t firstSite = data.gatherIndices.front();
  const std::string siteText = std::to_string(firstSite);
  std::string table;
  // Every gather of a kept variable counts, a "0" one included.
  for (const Gather& gather : data.gathers) {
    if (!patternByVariable.count(gather.variableName)) continue;
    const std::string name = translate(kPatternNamePrefix + gather.patternCode);
    if (name.empty()) continue;
    table += translate("found_pattern_table_row", siteText, gather.variableName, name);
    variant_bag_t& item = list.add_variant_bag(VBagHelper::kItem);
    item.put("sites", variant_t(firstSite));
    VBagHelper::addAttribute(item, VBagHelper::VBagAttr<std::string>("variable", gather.variableName));
    VBagHelper::addAttribute(item, VBagHelper::VBagAttr<std::string>("pattern", name));
  }
  if (list.bags().empty()) return false;

  issue->addRecommendation(createRecommendationWithParameters(
      recommendationId(IRecommendation::GatherScatterRecInfo, data), translate("gather_scatter_rec_info_title"),
      translateEx("gather_scatter_rec_info_text", getLangSuffix(data.isFortran), table), bag, kConfidenceLow));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
