#include "platform/summary_store/survey_ex_summary_data.h"

#include <utility>

#include <boost/make_shared.hpp>

namespace summary_store {

boost::shared_ptr<SurveyExSummaryData> SurveyExSummaryData::create() { return boost::make_shared<SurveyExSummaryData>(); }

void SurveyExSummaryData::addLoop(const locator_t& location, const std::string& functionName, int kind,
                                  double selfTime, double totalTime, const std::string& note,
                                  boost::shared_ptr<RecommendationsData> recommendations, std::int64_t funcInstIdx) {
  // Readers of the summary may then walk the entries without a null check.
  if (!recommendations) recommendations = RecommendationsData::create();
  loops_.push_back(Loop{location, functionName, kind, selfTime, totalTime, note, std::move(recommendations),
                        funcInstIdx});
}

}  // namespace summary_store
