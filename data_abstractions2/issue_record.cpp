#include "data_abstractions2/issue_record.h"

#include "platform/portability/assert.h"

namespace data_abstractions2 {

IssueRecord::IssueRecord(const std::string& id, const std::string& title, const std::string& text, int priority,
                         unsigned flags, const variant_bag_t& parameters)
    // Issues carry no confidence of their own; the host reads it from the
    // recommendations.
    : RecordBase<IIssueEx>(id, title, text, flags, parameters, 0, priority) {}

generic_iterator_t<sptr_t<IRecommendation>> IssueRecord::getRecommendations() const {
  std::lock_guard<std::mutex> lock(recommendationsMutex_);
  return generic_iterator_t<sptr_t<IRecommendation>>(std::vector<sptr_t<IRecommendation>>(recommendations_));
}

void IssueRecord::addRecommendation(const sptr_t<IRecommendation>& recommendation) {
  NIMB_ASSERT(recommendation);
  if (!recommendation) return;
  std::lock_guard<std::mutex> lock(recommendationsMutex_);
  recommendations_.push_back(recommendation);
}

}  // namespace data_abstractions2
