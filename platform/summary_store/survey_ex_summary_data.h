#pragma once
// `SurveyExSummaryData`: the summary of a result's hottest loops and what to
// do about them.

#include <cstdint>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "platform/summary_store/locator.h"
#include "platform/summary_store/recommendations_data.h"

namespace summary_store {

/// The loops a summary page lists, hottest first as they were added, each
/// with its place, its time and its recommendations.
///
/// Filled on one thread and then handed over; it takes no locks.
class SurveyExSummaryData {
 public:
  /// How the loop ran, from its row type.
  enum LoopKind : int {
    LoopOther = 0,
    LoopVectorized = 1,  ///< row type bit 256
    LoopScalar = 2,      ///< row type bit 4096 without 256
  };

  struct Loop {
    locator_t location;
    std::string functionName;
    int kind = LoopOther;
    double selfTime = 0.0;   ///< seconds
    double totalTime = 0.0;  ///< seconds; 0 when not known
    std::string note;        ///< free text for the page; usually empty
    boost::shared_ptr<RecommendationsData> recommendations;  ///< never null once added
    std::int64_t funcInstIdx = 0;  ///< joins the loop to its rows in both trees
  };

  static boost::shared_ptr<SurveyExSummaryData> create();

  /// A null `recommendations` is kept as an empty record.
  void addLoop(const locator_t& location, const std::string& functionName, int kind, double selfTime,
               double totalTime, const std::string& note, boost::shared_ptr<RecommendationsData> recommendations,
               std::int64_t funcInstIdx);

  bool empty() const { return loops_.empty(); }
  const std::vector<Loop>& loops() const { return loops_; }

 private:
  std::vector<Loop> loops_;
};

}  // namespace summary_store
