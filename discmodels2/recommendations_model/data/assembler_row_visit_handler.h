#pragma once

#include <cstdint>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_source_manager.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "data_abstractions2/i_visit_handler.h"
#include "platform/assembler_analysis/assembler_lines.h"

namespace data_models2 {

/// Walks a call-tree row and the loops nested in it, down to a depth limit,
/// and finds whether any of them makes an indirect call: one whose target
/// is read from memory or taken from a register and resolves to no named
/// function. Calls of compiled vector variants never count.
///
/// Only pre-visits are meaningful; the walk below a row stops at the first
/// hit. The handler owns its own line buffer, apart from the provider's.
class AssemblerRowVisitHandler
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  /// `depthLimit` 1 looks at the start row only, 2 also at the loops
  /// directly inside it.
  AssemblerRowVisitHandler(data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset,
                           data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> viewModel,
                           data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager,
                           std::uint64_t depthLimit);

  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& parentBag,
                                                   bool& descend) override;
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

  /// Generates the lines of `row` into the handler's buffer; true when there
  /// are lines.
  bool parseAssembler(const data_abstractions2::row_t& row);
  /// True once any visited row held an indirect call.
  bool findIndirectAccess(const data_abstractions2::row_t& row);

  bool indirectCallFound() const { return hasIndirectCall; }

 protected:
  /// For walks that learn of an indirect call by other means than decoding
  /// (tests, hosts that keep the verdict).
  void setIndirectCallFound(bool found) { hasIndirectCall = found; }

 private:
  std::uint64_t nestingLevel(const data_abstractions2::row_t& row) const;

  bool hasIndirectCall = false;
  std::uint64_t startNestingLevel = 0;
  std::uint64_t depthLimit;
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  data_abstractions2::sptr_t<data_abstractions2::ISurveyingViewModel> viewModel;
  data_abstractions2::sptr_t<data_abstractions2::ISourceManager> sourceManager;
  boost::shared_ptr<assembler_analysis::AssemblerLines> assemblerLines;
  boost::shared_ptr<assembler_analysis::AssemblerGenerator> assemblerGenerator;
};

}  // namespace data_models2
