#include "platform/model_support/roofline_row_info.h"

#include <cstdint>

#include "data_abstractions2/field_id.h"
#include "platform/model_support/roofline_roofs.h"

namespace data_models2 {

using namespace data_abstractions2;

namespace {

// Below this a time is no time: the same limit the detectors use.
constexpr double kNoTime = 1e-12;

std::int64_t countOf(const InstructionMix& map, int column) {
  auto it = map.find(column);
  return it != map.end() && it->second.is_integer() ? it->second.as_i64() : 0;
}

double timeOf(const row_t& row, const IDataset& dataset, FieldId id) {
  variant_t value;
  if (!dataset.getValue(row, dataset.getColumn(id), 0, value)) return 0.0;
  return value.is_integer() || value.is_floating() ? value.as_double() : 0.0;
}

class RowRooflineInfo : public IRowRooflineInfo {
 public:
  RowRooflineInfo(const row_t& row, const IDataset& dataset, const IRoofInterpolator& interpolator,
                  const InstructionMix& map) {
    RowRoofline figures;
    if (!dataset.getRowRoofline(row, figures)) return;
    callStacks_ = figures.hasCallStacks;
    point_.operationsType = static_cast<OperationsType>(figures.opsType);

    // Totals need both counts; a result that marks call stacks but lacks
    // them still has the row's own figures.
    const bool totals = figures.hasCallStacks && figures.totalOperations != 0 && figures.totalBytes != 0;
    const double operations = static_cast<double>(totals ? figures.totalOperations : figures.operations);
    const double bytes = static_cast<double>(totals ? figures.totalBytes : figures.bytes);
    const double seconds = timeOf(row, dataset, totals ? TotalTime : SelfTime);
    if (operations <= 0.0 || bytes <= 0.0 || seconds <= kNoTime) return;
    point_.ai = operations / bytes;
    point_.performance = operations / seconds;

    memoryRoofs_ = interpolator.getMemoryRoofs(IRooflineInfo::AllThreads);
    const CodeKind code = codeKindOfMix(map, point_.operationsType);
    if (memoryRoofs_.empty() || !interpolator.getComputeRoof(code, IRooflineInfo::AllThreads, computeRoof_)) {
      return;
    }
    limiting_ = findLimitingRoof(point_, memoryRoofs_, computeRoof_);
    valid_ = true;
  }

  bool isValid() const override { return valid_; }
  RooflinePoint getPoint() const override { return point_; }
  void getRoofs(std::vector<RoofItem>& memoryRoofs, RoofItem& computeRoof) const override {
    memoryRoofs = memoryRoofs_;
    computeRoof = computeRoof_;
  }
  LimitingRoof getLimitingRoof() const override { return limiting_; }
  bool hasCallStacks() const override { return callStacks_; }

 private:
  bool valid_ = false;
  bool callStacks_ = false;
  RooflinePoint point_;
  std::vector<RoofItem> memoryRoofs_;
  RoofItem computeRoof_;
  LimitingRoof limiting_;
};

}  // namespace

CodeKind codeKindOfMix(const InstructionMix& map, OperationsType operations) {
  CodeKind code;
  code.operations = operations;
  if (map.empty()) return code;
  code.known = true;
  std::int64_t vectorMemory = 0;
  for (int column = 26; column <= 30; ++column) vectorMemory += countOf(map, column);
  code.vector = vectorMemory > 0;
  code.fma = 2 * countOf(map, 74) > countOf(map, 1) + countOf(map, 45);
  return code;
}

LimitingRoof findLimitingRoof(const RooflinePoint& point, const std::vector<RoofItem>& memoryRoofs,
                              const RoofItem& computeRoof) {
  LimitingRoof out;
  const double peak = static_cast<double>(computeRoof.value);
  if (peak >= point.performance) {
    out.type = LimitingRoof::Compute;
    out.roof = computeRoof;
    out.height = peak;
  }
  for (std::size_t i = 0; i < memoryRoofs.size(); ++i) {
    const double height = static_cast<double>(memoryRoofs[i].value) * point.ai;
    if (height >= peak || height < point.performance) continue;
    // Strictly lower: of two equal roofs the slower, listed first, stays.
    if (out.type != LimitingRoof::AboveRoofs && height >= out.height) continue;
    const MemoryLevel level = memoryLevelOfName(memoryRoofs[i].name);
    const bool dram = level == MemoryLevel::Dram || (level == MemoryLevel::Unknown && i == 0);
    out.type = dram ? LimitingRoof::BelowDram : LimitingRoof::Cache;
    out.roof = memoryRoofs[i];
    out.height = height;
  }
  return out;
}

std::shared_ptr<IRowRooflineInfo> createRowRooflineInfo(const row_t& row, const sptr_t<IDataset>& dataset,
                                                        const std::shared_ptr<IRoofInterpolator>& roofInterpolator,
                                                        const InstructionMix& map) {
  if (!row || !dataset || !roofInterpolator) return nullptr;
  return std::make_shared<RowRooflineInfo>(row, *dataset, *roofInterpolator, map);
}

}  // namespace data_models2
