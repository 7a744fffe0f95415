#pragma once
// Per-row data that is not a plain field. Most rows of a large result carry
// none of it, so a row holds this record only when the result gives it some.

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "data_abstractions2/i_loop_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"

namespace host_data {

struct RowData {
  data_abstractions2::CodeBlock code;
  /// Instruction mixes by kind (0 summary, 1 static, 3 dynamic).
  std::map<int, data_abstractions2::InstructionMix> mixes;
  std::optional<data_abstractions2::RowRoofline> roofline;
  /// Trip-count distributions by FieldId (TripCountAverage, CallCount).
  std::map<int, data_abstractions2::SourceTripCountsData> tripCounts;
  std::optional<std::int64_t> medianTripCount;
  /// Indices of the row's records in the loop-manager tables, by table kind.
  std::map<int, std::vector<int>> tableIndices;
  std::vector<data_abstractions2::NTSCandidatesEvictionsInfo> ntsCandidates;
  std::optional<int> avx512Shadow;
  /// Gather sites; only records of the access-pattern table have them.
  std::vector<data_abstractions2::Gather> gathers;
};

}  // namespace host_data
