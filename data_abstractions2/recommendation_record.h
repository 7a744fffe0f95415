#pragma once
// Private to the data layer: the record behind the createRecommendation...
// factories.

#include <string>

#include "data_abstractions2/record_base.h"

namespace data_abstractions2 {

/// One recommendation of an issue; all of its state is in RecordBase.
class RecommendationRecord : public RecordBase<IRecommendation> {
 public:
  RecommendationRecord(const std::string& id, const std::string& title, const std::string& text, unsigned flags,
                       const variant_bag_t& parameters, int confidence, int priority);
};

}  // namespace data_abstractions2
