#pragma once

#include <functional>

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds a function row that is a call of a serial standard algorithm
/// (for_each, sort, any_of, copy_if) and proposes execution policies of the
/// parallel library, judged by the loop the algorithm runs (its trip count,
/// its time per call) or, without those, by the algorithm's own time.
///
/// Skips calls that have a policy already, algorithms whose loop runs at
/// most one iteration or is vectorized, and a sort too small for threads
/// (a sort gets no vector-only policy).
class IssueSTLAlgorithms : public IssueDetector {
 public:
  using RowTest = std::function<bool(const data_abstractions2::row_t&)>;

  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

  /// Breadth first through the bottom-up children of `row`: the first row
  /// that `accept` takes, looking below the rows that `descend` lets
  /// through, each once. Null when there is none or an argument is missing.
  data_abstractions2::row_t findBottomUpChild(const data_abstractions2::row_t& row, const RowTest& accept,
                                              const RowTest& descend) const;
};

}  // namespace data_models2::issues
