#pragma once
// A position on the roofline chart and the roofs around it.
//
// The chart plots performance (operations per second) against arithmetic
// intensity (operations per byte moved). Every memory roof is a line of
// slope "bandwidth", every compute roof a horizontal line at its peak; a
// point below them is limited by the lowest roof above it. docs/roofline.md
// has the formulas and units.

#include <vector>

#include "data_abstractions2/i_surveying_view_model.h"

namespace data_abstractions2 {

/// Which operations a row's figures count. Roofs differ by it: integer peaks
/// are not floating-point peaks.
enum OperationsType : int {
  OperationsFloat = 0,
  OperationsInt = 1,
  OperationsMixed = 2,  ///< both kinds in one count; no roof fits it exactly
};

/// Where a row stands on the chart.
struct RooflinePoint {
  double ai = 0.0;  ///< arithmetic intensity, operations per byte
  OperationsType operationsType = OperationsFloat;
  double performance = 0.0;  ///< operations per second
};

/// The roof that holds a point down: the lowest roof at or above it, at its
/// arithmetic intensity. A memory roof counts only left of its ridge (where
/// bandwidth times intensity is below the compute peak); right of it the
/// compute roof is what the point runs into.
struct LimitingRoof {
  enum Type : int {
    Compute = 0,     ///< the compute roof
    Cache = 1,       ///< a cache bandwidth roof (any memory roof but DRAM)
    AboveRoofs = 2,  ///< no roof is above the point; also the answer without a position
    BelowDram = 3,   ///< the DRAM roof: the loop does not even reach DRAM bandwidth
  };

  Type type = AboveRoofs;
  RoofItem roof;        ///< empty for AboveRoofs
  double height = 0.0;  ///< the roof's height at the point's intensity, operations per second
};

/// The roofline view of one thing that has a position: a row, a program.
class IRooflineInfo {
 public:
  /// Which figures of the machine to draw. A result may hold roofs measured
  /// with all cores and roofs of a single thread (secondWord bit 8); when it
  /// lacks the kind asked for, the other kind stands in.
  enum RoofsStrategyId : int {
    AllThreads = 0,
    SingleThread = 1,
  };

  virtual ~IRooflineInfo() = default;

  /// True when there is a position and roofs to set it against; every other
  /// answer is a default otherwise.
  virtual bool isValid() const = 0;
  virtual RooflinePoint getPoint() const = 0;
  /// The memory roofs, slowest first (DRAM before L1), and the compute roof
  /// that applies.
  virtual void getRoofs(std::vector<RoofItem>& memoryRoofs, RoofItem& computeRoof) const = 0;
  virtual LimitingRoof getLimitingRoof() const = 0;
};

}  // namespace data_abstractions2
