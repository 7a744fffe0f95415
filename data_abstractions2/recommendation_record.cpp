#include "data_abstractions2/recommendation_record.h"

namespace data_abstractions2 {

RecommendationRecord::RecommendationRecord(const std::string& id, const std::string& title, const std::string& text,
                                           unsigned flags, const variant_bag_t& parameters, int confidence,
                                           int priority)
    : RecordBase<IRecommendation>(id, title, text, flags, parameters, confidence, priority) {}

}  // namespace data_abstractions2
