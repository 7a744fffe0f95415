#include "platform/summary_store/recommendations_data.h"

#include <boost/make_shared.hpp>

namespace summary_store {

boost::shared_ptr<RecommendationsData> RecommendationsData::create() { return boost::make_shared<RecommendationsData>(); }

void RecommendationsData::add(const std::string& id, const std::string& title, int confidence, int priority) {
  entries_.push_back(Entry{id, title, confidence, priority});
}

}  // namespace summary_store
