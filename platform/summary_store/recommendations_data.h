#pragma once
// `RecommendationsData`: the recommendations of one loop, as a summary keeps
// them.

#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

namespace summary_store {

/// The confident recommendations found on one loop, in the order they were
/// added (the order of the loop's findings). Only what a summary page shows
/// is kept: no texts, no parameters.
///
/// Filled on one thread and then handed over; it takes no locks.
class RecommendationsData {
 public:
  struct Entry {
    std::string id;     ///< stable id string of the recommendation
    std::string title;  ///< already translated
    int confidence = 0;
    int priority = 0;

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  static boost::shared_ptr<RecommendationsData> create();

  void add(const std::string& id, const std::string& title, int confidence, int priority);
  bool empty() const { return entries_.empty(); }
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
};

}  // namespace summary_store
