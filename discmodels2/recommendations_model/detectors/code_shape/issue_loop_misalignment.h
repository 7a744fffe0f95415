#pragma once

#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Finds hot loops whose body would fit into one 16-byte or 32-byte
/// instruction fetch block but starts so that it crosses a block boundary,
/// which costs a second fetch on every iteration. A split loop is misaligned
/// when any of its parts is.
///
/// Skips loops under 0.025 seconds, rows marked as held back by unrolling,
/// and loops of at most three iterations; on processors other than the two
/// families that pay the penalty even in short loops, loops of at most 1024
/// iterations are skipped too. Bodies larger than 32 bytes are never
/// reported: alignment can't fit them into one block.
class IssueLoopMisalignment : public IssueDetector {
 public:
  IssueLoopMisalignment(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::CPUType cpuType)
      : IssueDetector(std::move(dataProvider)), cpuType(static_cast<int>(cpuType)) {}
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

  /// True when `row` (one loop or one part) is hot, long-running enough and
  /// crosses a fetch block it could fit into.
  bool needsAlignment(const data_abstractions2::row_t& row) const;

 private:
  int cpuType;
};

}  // namespace data_models2::issues
