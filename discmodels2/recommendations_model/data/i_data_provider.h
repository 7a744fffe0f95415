#pragma once
// The detectors' one way to the data of a result.

#include <memory>

#include <boost/shared_ptr.hpp>

#include "data_abstractions2/i_node.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/data/assembler_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/common_data.h"
#include "platform/assembler_analysis/assembler_lines.h"

namespace data_models2 {

/// The roofs of a result, completed by the roofline support.
class Roofs;
/// Selects how roofs are chosen; the roofline support gives the values.
using RoofsStrategyId = int;
/// 0 floating point, 1 integer operations.
using OperationsType = int;

/// Answers detectors' questions about rows: the per-row record, assembler
/// lines, roofs and the loop's place among the others.
///
/// All operations are const for the detectors but may fill caches: one
/// provider serves one scan on one thread and takes no locks.
class IDataProvider {
 public:
  virtual ~IDataProvider() = default;

  /// The row's record, filled on first use. Never fails: a row that can't be
  /// filled gets the default record, and that answer is kept until the next
  /// fillCommonData of the row. The reference stays valid while the provider
  /// lives and the row isn't filled again.
  virtual const CommonData& getData(const data_abstractions2::row_t& row) const = 0;
  /// The row's machine code lines, or an empty pointer. The buffer is shared
  /// and belongs to the row that fillCommonData last took.
  virtual boost::shared_ptr<assembler_analysis::AssemblerLines> getAssemblerLines(
      const data_abstractions2::row_t& row,
      const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const = 0;
  virtual std::shared_ptr<Roofs> getRoofs() const = 0;
  virtual std::shared_ptr<Roofs> getRoofs(int first, int second, RoofsStrategyId strategy,
                                          OperationsType type) const = 0;
  virtual data_abstractions2::ProgramMetrics getProgramMetrics() const = 0;
  /// What the row calls, as rows of the bottom-up tree; duplicates stay.
  virtual data_abstractions2::generic_iterator_t<data_abstractions2::row_t> getBottomUpChildren(
      const data_abstractions2::row_t& row) const = 0;
  /// Walks the row and its inner loops in the call tree looking for an
  /// indirect call; null when no walk was possible.
  virtual data_abstractions2::sptr_t<AssemblerRowVisitHandler> visitRowsForAssembler(
      const data_abstractions2::row_t& row, int depth) const = 0;
  /// (Re)fills the row's record; false when the row could not be filled.
  virtual bool fillCommonData(const data_abstractions2::row_t& row) const = 0;
  /// True when the row's self or total time is above `percent` of the
  /// program's elapsed time.
  virtual bool isLoopMatchThreshold(const data_abstractions2::row_t& row, double percent) const = 0;
  /// True when the row's rank by self time falls in the percent range
  /// [from, to] of all loops.
  virtual bool isLoopInsideRange(const data_abstractions2::row_t& row, double from, double to) const = 0;
  /// The worst frequency-throttling diagnosis of the row's call-tree rows.
  virtual int getAVX512ShadowDiagnostic(const data_abstractions2::row_t& row) const = 0;
};

}  // namespace data_models2
