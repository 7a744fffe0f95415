#pragma once
// Private to the data layer: the record behind createIssueEx.

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "data_abstractions2/record_base.h"

namespace data_abstractions2 {

/// An issue and its ordered recommendations. The list only grows; readers get
/// a snapshot, so an iterator handed to the host stays valid and unchanged
/// while the scan appends further recommendations.
class IssueRecord : public RecordBase<IIssueEx> {
 public:
  IssueRecord(const std::string& id, const std::string& title, const std::string& text, int priority,
              unsigned flags, const variant_bag_t& parameters);

  generic_iterator_t<sptr_t<IRecommendation>> getRecommendations() const override;
  void addRecommendation(const sptr_t<IRecommendation>& recommendation) override;

 private:
  mutable std::mutex recommendationsMutex_;
  std::vector<sptr_t<IRecommendation>> recommendations_;
};

}  // namespace data_abstractions2
