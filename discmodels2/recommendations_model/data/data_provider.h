#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_source_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/data/i_data_provider.h"
#include "platform/assembler_analysis/assembler_lines.h"

namespace data_models2 {

class PresenceRowVisitHandler;

/// The provider of one scan: reads each row once into a CommonData record
/// and answers the detectors' questions about rows from the result.
///
/// The constructor indexes the rows of both trees by function instance and
/// sorts the loops by self time; with a null view model it indexes nothing
/// and every answer is a default. Not thread-safe: one scan, one thread.
class DataProvider : public IDataProvider {
 public:
  using LoopList = std::vector<std::pair<double, data_abstractions2::row_t>>;
  using RowIndex = std::multimap<long long, data_abstractions2::row_t>;

  DataProvider(data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> viewModel,
               data_abstractions2::sptr_t<data_abstractions2::IResultController> resultController,
               data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager);
  ~DataProvider() override;

  const CommonData& getData(const data_abstractions2::row_t& row) const override;
  boost::shared_ptr<assembler_analysis::AssemblerLines> getAssemblerLines(
      const data_abstractions2::row_t& row,
      const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const override;
  std::shared_ptr<Roofs> getRoofs() const override;
  std::shared_ptr<Roofs> getRoofs(int first, int second, RoofsStrategyId strategy,
                                  OperationsType type) const override;
  data_abstractions2::ProgramMetrics getProgramMetrics() const override;
  data_abstractions2::generic_iterator_t<data_abstractions2::row_t> getBottomUpChildren(
      const data_abstractions2::row_t& row) const override;
  data_abstractions2::sptr_t<AssemblerRowVisitHandler> visitRowsForAssembler(const data_abstractions2::row_t& row,
                                                                             int depth) const override;
  bool fillCommonData(const data_abstractions2::row_t& row) const override;
  bool isLoopMatchThreshold(const data_abstractions2::row_t& row, double percent) const override;
  bool isLoopInsideRange(const data_abstractions2::row_t& row, double from, double to) const override;
  int getAVX512ShadowDiagnostic(const data_abstractions2::row_t& row) const override;

  /// The rows of tree `type` that stand for the same function instance as
  /// `row`, which belongs to the other tree; in index order.
  data_abstractions2::generic_iterator_t<data_abstractions2::row_t> getRowsFrom(
      data_abstractions2::DataType type, const data_abstractions2::row_t& row) const;
  /// Versions of the C libraries the profiled program loaded, from the
  /// leaf names of their files ("libc-2.31.so" gives 2.31).
  std::set<GlibcVer> getGlibcVersions() const;
  /// Whether the result has dependency analysis data for the loop: 0 none;
  /// 1 data that names no dependency (reductions aside); 2 a true, anti or
  /// output dependency; 3 reductions only. A dependency wins over a
  /// reduction wherever it stands in the loop's records.
  int checkDependencyPresence(const data_abstractions2::row_t& row) const;
  /// Walks what the loop calls, from its rows of the call tree down, and
  /// returns the walk's findings; null when there is no call tree to walk.
  /// A loop without call-tree rows gives a handler that found nothing.
  data_abstractions2::sptr_t<PresenceRowVisitHandler> visitTargetRows(const data_abstractions2::row_t& row) const;
  /// Generates the row's lines into the shared buffer unless it holds lines
  /// already; true when there are lines.
  bool parseAssembler(const data_abstractions2::row_t& row,
                      const boost::shared_ptr<assembler_analysis::RegisterPressure>& pressure) const;

  /// Loops of the bottom-up tree, ascending by self time.
  const LoopList& getLoopsBySelfTime() const { return loopsBySelfTime; }

 private:
  /// getData for the provider's own use: readers of fieldPresence need the
  /// record mutable.
  CommonData& record(const data_abstractions2::row_t& row) const;

  boost::shared_ptr<assembler_analysis::AssemblerLines> assemblerLines;
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> viewModel;
  boost::shared_ptr<assembler_analysis::AssemblerGenerator> assemblerGenerator;
  data_abstractions2::sptr_t<data_abstractions2::IResultController> resultController;
  data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager;
  LoopList loopsBySelfTime;
  std::map<data_abstractions2::DataType, RowIndex> rowsByFuncInst;
  struct RowHash {
    std::size_t operator()(const data_abstractions2::row_t& row) const noexcept {
      return std::hash<const void*>()(row.get());
    }
  };
  /// One record per row, looked up for every question a detector asks.
  mutable std::unordered_map<data_abstractions2::row_t, CommonData, RowHash> commonData;
  /// Call-tree rows with something beneath them that the walk over a loop's
  /// calls classifies, and the call tree they were found in.
  std::unordered_set<const data_abstractions2::INode<data_abstractions2::IRowSpecification>*> callTreeRowsWithCallsBelow;
  data_abstractions2::sptr_t<data_abstractions2::IDataset> indexedCallTree;
  /// Read at first use, once per provider (that is, per scan).
  mutable std::optional<std::optional<double>> elapsedTime;
  mutable std::optional<std::set<GlibcVer>> glibcVersions;
  mutable std::shared_ptr<Roofs> roofs;
};

}  // namespace data_models2
