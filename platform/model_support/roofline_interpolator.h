#pragma once
// Choosing the roofs that apply to a piece of code.

#include <memory>
#include <vector>

#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_roofline_info.h"
#include "data_abstractions2/i_surveying_view_model.h"

namespace data_models2 {

/// What is known of the code a compute roof is wanted for.
struct CodeKind {
  data_abstractions2::OperationsType operations = data_abstractions2::OperationsFloat;
  bool known = false;  ///< false: nothing more is known, and the highest roof applies
  bool vector = false;
  bool fma = false;
};

/// Answers, from the roofs of one result, the memory roofs and the compute
/// roof for a kind of code.
///
/// A result rarely has a compute roof for every kind of code. A missing one
/// is estimated from the nearest one the result has: a fused multiply-add
/// peak is twice the plain peak of the same code, and a vector peak is the
/// scalar one times the number of 64-bit lanes of the machine's widest
/// vector. Estimated roofs carry the class bits of what was asked for and
/// " (estimated)" behind the name of the roof they come from.
///
/// Immutable once made; safe to share between threads.
class IRoofInterpolator {
 public:
  virtual ~IRoofInterpolator() = default;

  /// Memory roofs, slowest first; empty when the result has none.
  virtual std::vector<data_abstractions2::RoofItem> getMemoryRoofs(
      data_abstractions2::IRooflineInfo::RoofsStrategyId strategy) const = 0;
  /// The compute roof for `code`. Integer code is set against integer peaks
  /// and floating-point (and mixed) code against floating-point ones; when
  /// the result has only the other kind, that kind stands in. False, with
  /// `roof` untouched, when the result has no compute roof.
  virtual bool getComputeRoof(const CodeKind& code, data_abstractions2::IRooflineInfo::RoofsStrategyId strategy,
                              data_abstractions2::RoofItem& roof) const = 0;
  /// 64-bit lanes of the machine's widest vector, at least 1.
  virtual int getVectorLanes() const = 0;
};

/// The interpolator of a result's roofs. The controller gives the width of
/// the machine's vectors (getMaxVectorLength, else the width of its
/// instruction set level); without it vector and scalar peaks are taken as
/// equal. Never null.
std::shared_ptr<IRoofInterpolator> createRoofInterpolator(
    data_abstractions2::sptr_t<data_abstractions2::IResultController> resultController,
    data_abstractions2::generic_iterator_t<data_abstractions2::RoofItem> roofItems);

}  // namespace data_models2
