#include "discmodels2/recommendations_model/data/assembler_row_visit_handler.h"

#include <limits>
#include <utility>

#include <boost/make_shared.hpp>

#include "platform/portability/assert.h"

namespace data_models2 {

using namespace data_abstractions2;

AssemblerRowVisitHandler::AssemblerRowVisitHandler(sptr_t<IDataset> dataset, sptr_t<ISurveyingViewModel> viewModel,
                                                   sptr_t<ISourceManager> sourceManager, std::uint64_t depthLimit)
    : depthLimit(depthLimit),
      dataset(std::move(dataset)),
      viewModel(std::move(viewModel)),
      sourceManager(std::move(sourceManager)),
      assemblerLines(boost::make_shared<assembler_analysis::AssemblerLines>()),
      assemblerGenerator(assembler_analysis::createAssemblerGenerator()) {
  // Loops rarely exceed a few hundred instructions; one reservation avoids
  // regrowing the buffer for every row.
  assemblerLines->reserve(255);
}

// Nesting level of a row; a value that isn't an integer reads as 0.
std::uint64_t AssemblerRowVisitHandler::nestingLevel(const row_t& row) const {
  if (!dataset || !row) return 0;
  variant_t value;
  if (!dataset->getValue(row, dataset->getColumn(InnerLoopCount), 0, value) || !value.is_integer()) return 0;
  return value.raw_bits();
}

variant_bag_t AssemblerRowVisitHandler::handlePreVisit(row_t row, const variant_bag_t& parentBag, bool& descend) {
  // Children must see a non-empty bag: that is how a row knows it isn't the
  // first of the walk.
  variant_bag_t result;
  result.put("visited", variant_t(true));

  if (parentBag.empty()) startNestingLevel = nestingLevel(row);
  const std::uint64_t level = nestingLevel(row);
  if (!dataset || !row) return result;

  const bool unknownLevel = level == std::numeric_limits<std::uint64_t>::max();
  if (startNestingLevel - level >= depthLimit && !unknownLevel) return result;

  if (findIndirectAccess(row)) descend = false;
  return result;
}

variant_bag_t AssemblerRowVisitHandler::handlePostVisit(row_t, const std::vector<variant_bag_t>&) {
  NIMB_ASSERT_TEXT(false, "AssemblerRowVisitHandler::handlePostVisit is not implemented");
  return {};
}

bool AssemblerRowVisitHandler::parseAssembler(const row_t& row) {
  if (assemblerLines && assemblerLines->size() != 0) return true;
  if (!row || !assemblerLines || !assemblerGenerator || !viewModel) return false;
  // Generation goes through the source manager, which gains that operation
  // together with the assembler analysis service; until then no row has lines.
  return false;
}

bool AssemblerRowVisitHandler::findIndirectAccess(const row_t& row) {
  if (hasIndirectCall) return true;
  if (!parseAssembler(row)) return hasIndirectCall;
  // The line walk needs the service's line and operand types; with the
  // placeholder buffer there are never lines to walk.
  return hasIndirectCall;
}

}  // namespace data_models2
