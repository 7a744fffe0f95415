#include "discmodels2/recommendations_model/detectors/calls/issue_stl_algorithms.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {

enum STLAlgoType : int { ForEach = 0, Sort = 1, AnyOf = 2, CopyIf = 3 };

// Walked in key order: any_of, copy_if, for_each, sort.
const std::map<std::string, STLAlgoType> kAlgorithmByName = {
    {"std::for_each", ForEach}, {"std::sort", Sort}, {"std::any_of", AnyOf}, {"std::copy_if", CopyIf}};
const std::map<STLAlgoType, std::string> kShortName = {
    {ForEach, "for_each"}, {Sort, "sort"}, {AnyOf, "any_of"}, {CopyIf, "copy_if"}};
// Seconds of the algorithm's own time from which threads pay off, when
// nothing better is known.
const std::map<STLAlgoType, double> kSelfTimeThreshold = {
    {ForEach, 0.06}, {Sort, 0.07}, {AnyOf, 0.006}, {CopyIf, 0.1}};

constexpr std::uint64_t kManyIterations = 1000000;
constexpr double kLongCall = 5e-06;

}  // namespace

row_t IssueSTLAlgorithms::findBottomUpChild(const row_t& row, const RowTest& accept, const RowTest& descend) const {
  if (!row || !accept || !descend || !dataProvider) return nullptr;
  std::deque<row_t> queue{row};
  std::vector<std::uint64_t> seen;
  while (!queue.empty()) {
    const row_t current = queue.front();
    queue.pop_front();
    for (auto children = dataProvider->getBottomUpChildren(current); !children.at_end(); children.next()) {
      const row_t& entry = children.current();
      if (!entry || entry == row) continue;
      if (std::find(seen.begin(), seen.end(), entry->getId()) != seen.end()) continue;
      if (accept(entry)) return entry;
      if (descend(entry)) {
        seen.push_back(entry->getId());
        queue.push_back(entry);
      }
    }
  }
  return nullptr;
}

bool IssueSTLAlgorithms::detect(row_t row, IssueList issues) const {
  if (!row || !dataProvider || !issues) return false;
  const CommonData& data = dataProvider->getData(row);

  const auto named = std::find_if(kAlgorithmByName.begin(), kAlgorithmByName.end(), [&](const auto& entry) {
    return data.functionName.find(entry.first) != std::string::npos;
  });
  if (named == kAlgorithmByName.end()) return false;
  const STLAlgoType algorithm = named->second;
  if (data.functionName.find("pstl::execution") != std::string::npos) return false;
  if (!data.fieldPresence[TotalTime]) return false;
  const double algorithmSelfTime = data.selfTime;

  bool tripCountKnown = false;
  std::uint64_t averageTrips = 0;
  bool childTimeKnown = false;
  double timePerCall = 0.0;
  if (algorithm != Sort) {
    // The algorithm's loop, through the function objects it calls.
    const RowTest accept = [this](const row_t& r) { return dataProvider->getData(r).isLoop; };
    const RowTest descend = [this](const row_t& r) {
      const CommonData& d = dataProvider->getData(r);
      return !d.isLoop && d.functionName.find("::operator()") != std::string::npos;
    };
    if (const row_t loopRow = findBottomUpChild(row, accept, descend)) {
      const CommonData& loop = dataProvider->getData(loopRow);
      tripCountKnown = loop.fieldPresence[TripCountAverage];
      averageTrips = loop.tripCountAverage;
      if (tripCountKnown && averageTrips <= 1) return false;
      if (loop.isVectorized) return false;
      if (loop.callCount != 0) {
        if (const row_t innerRow = findBottomUpChild(loopRow, accept, descend)) {
          const CommonData& inner = dataProvider->getData(innerRow);
          childTimeKnown = inner.fieldPresence[TotalTime];
          timePerCall = inner.selfTime / static_cast<double>(loop.callCount);
        }
      }
    }
  }

  bool wantThreads = false;
  if (data.typeFlag16384) {
    wantThreads = false;
  } else if (!tripCountKnown && !childTimeKnown) {
    wantThreads = kSelfTimeThreshold.at(algorithm) <= algorithmSelfTime;
  } else {
    wantThreads = averageTrips >= kManyIterations || timePerCall >= kLongCall;
  }

  std::vector<const char*> policies;
  if (algorithm == Sort) {
    if (wantThreads) policies = {"par"};
  } else if (wantThreads) {
    policies = {"par", "par_unseq"};
  } else {
    policies = {"unseq"};
  }

  const std::string shortName = kShortName.at(algorithm);
  variant_bag_t bag;
  if (!policies.empty()) {
    VBagHelper::addAttribute(bag.add_variant_bag("stl_algorithm"), shortName);
    variant_bag_t& list = bag.add_variant_bag("pstl_exec_polices");
    VBagHelper::addAttribute(list, VBagHelper::VBagAttr<const char*>(VBagHelper::kArrayOf, VBagHelper::kItem));
    for (const char* policy : policies) VBagHelper::addAttribute(list.add_variant_bag(VBagHelper::kItem), policy);
  }
  if (bag.empty()) return false;

  sptr_t<IIssueEx> issue = createIssueEx(issueId(IIssueEx::STLAlgorithms), translate("issue_stl_algorithms"),
                                         std::string(), kIssuePriority, issueFlags(data, kIssueClass), variant_bag_t());
  // The algorithm's name stands where a language suffix would: a text per
  // algorithm is possible, the bare key the fallback.
  const bool judgedByItsLoop = tripCountKnown || childTimeKnown;
  issue->addRecommendation(createRecommendationWithParameters(
      recommendationId(IRecommendation::RecUseParallelStl, data), translateEx("rec_use_parallel_stl", "std::" + shortName),
      std::string(), bag, judgedByItsLoop ? kConfidenceHigh : kConfidenceLow));
  issues->push_back(issue);
  return true;
}

}  // namespace data_models2::issues
