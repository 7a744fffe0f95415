#pragma once
// The roofs of a result, sorted out of the host's roof items.
//
// A roof item is a name, a value and a second word of class bits
// (docs/result-format.md, "roofs"):
//
//   bit  1  memory roof, value in bytes per second
//   bit  2  compute roof, value in operations per second
//   bit  4  integer operations (compute roofs)
//   bit  8  measured with a single thread
//   bit 16  vector code (compute roofs); without it, scalar code
//   bit 32  fused multiply-adds (compute roofs): the peak counts two
//           operations per instruction
//
// An item with neither bit 1 nor bit 2 is classified from its name, so that
// hand-written results that only name their roofs still draw a chart.
// The level of a memory roof always comes from its name.

#include <cstdint>
#include <string_view>
#include <vector>

#include "data_abstractions2/i_roofline_info.h"
#include "data_abstractions2/i_surveying_view_model.h"

namespace data_models2 {

enum RoofBits : std::uint64_t {
  RoofMemory = 1,
  RoofCompute = 2,
  RoofInteger = 4,
  RoofSingleThread = 8,
  RoofVector = 16,
  RoofFma = 32,
};

/// The memory level of a bandwidth roof, from the first word of its name:
/// "L1", "L2", "L3", or "DRAM" / "Memory" anywhere in it.
enum class MemoryLevel { Unknown, L1, L2, L3, Dram };

/// What one roof item stands for.
struct RoofClass {
  enum Kind { None, Memory, Compute };
  Kind kind = None;
  MemoryLevel level = MemoryLevel::Unknown;  ///< memory roofs only
  bool integer = false;
  bool singleThread = false;
  bool vector = false;
  bool fma = false;

  /// The class bits of this class, as a second word would hold them.
  std::uint64_t bits() const;
};

/// Classifies an item by its second word, or by its name when the word has
/// neither class bit. Items that are neither give kind None.
RoofClass classifyRoof(const data_abstractions2::RoofItem& roof);
MemoryLevel memoryLevelOfName(std::string_view name);

/// The roofs of one result, classified once. Items of kind None and roofs of
/// value 0 (which no chart can draw) are left out.
class Roofs {
 public:
  struct Entry {
    data_abstractions2::RoofItem item;
    RoofClass cls;
  };

  Roofs() = default;
  explicit Roofs(data_abstractions2::generic_iterator_t<data_abstractions2::RoofItem> items);

  /// Memory roofs of the strategy's thread figure, slowest first; ties keep
  /// the host's order.
  std::vector<Entry> memoryRoofs(data_abstractions2::IRooflineInfo::RoofsStrategyId strategy) const;
  /// Compute roofs of the strategy's thread figure, in the host's order.
  std::vector<Entry> computeRoofs(data_abstractions2::IRooflineInfo::RoofsStrategyId strategy) const;

  const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> ofKind(RoofClass::Kind kind, data_abstractions2::IRooflineInfo::RoofsStrategyId strategy) const;

  std::vector<Entry> entries_;
};

}  // namespace data_models2
