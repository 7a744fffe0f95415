#pragma once
// A row's place on the roofline chart.

#include <memory>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_roofline_info.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "platform/model_support/roofline_interpolator.h"

namespace data_models2 {

/// The roofline view of one row of a result.
class IRowRooflineInfo : public data_abstractions2::IRooflineInfo {
 public:
  /// True when the row's figures take in call stacks: its position then
  /// counts what it calls and its inner loops, over its total time.
  virtual bool hasCallStacks() const = 0;
};

/// The row's position from its roofline figures (IDataset::getRowRoofline)
/// and its time fields, set against the interpolator's roofs (all-thread
/// figures, single-thread ones when the result has no others):
///
///   with call stacks and totals:  ai = totalOperations / totalBytes,
///                                 performance = totalOperations / TotalTime
///   otherwise:                    ai = operations / bytes,
///                                 performance = operations / SelfTime
///
/// The compute roof is the one for the code the mix `map` shows (a static
/// or dynamic instruction mix; see codeKindOfMix). The info is invalid when
/// the row has no figures, counts no operations or no bytes, took no time
/// (1e-12 s or less), or the result lacks memory or compute roofs.
///
/// Null only when the row, the dataset or the interpolator is null. Reads
/// everything at creation; holds no reference to the row.
std::shared_ptr<IRowRooflineInfo> createRowRooflineInfo(
    const data_abstractions2::row_t& row, const data_abstractions2::sptr_t<data_abstractions2::IDataset>& dataset,
    const std::shared_ptr<IRoofInterpolator>& roofInterpolator, const data_abstractions2::InstructionMix& map);

/// What an instruction mix tells of the code: vector code when any vector
/// memory instruction is counted (columns 26 to 30), fused multiply-adds
/// when twice their count (column 74) is above the compute instructions
/// (columns 1 and 45). An empty mix tells nothing (`known` false).
CodeKind codeKindOfMix(const data_abstractions2::InstructionMix& map, data_abstractions2::OperationsType operations);

/// The lowest roof at or above the point at its intensity. `memoryRoofs` are
/// slowest first; a memory roof counts only below the compute roof at that
/// intensity, so on a ridge the compute roof is the limit. A memory roof is
/// the DRAM roof when its name says so, or when it is the slowest and its
/// name names no level.
data_abstractions2::LimitingRoof findLimitingRoof(const data_abstractions2::RooflinePoint& point,
                                                  const std::vector<data_abstractions2::RoofItem>& memoryRoofs,
                                                  const data_abstractions2::RoofItem& computeRoof);

}  // namespace data_models2
