#include "discmodels2/recommendations_model/data/assembler_row_visit_handler.h"

#include <limits>
#include <string>
#include <utility>

#include <boost/make_shared.hpp>

#include "platform/model_support/issue_helpers.h"
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
  // The walk is over the call tree, so the code is asked of that tree; no
  // register figures are wanted here.
  const CodeBlock block = viewModel->getCodeBlock(CallTree, row);
  if (!sourceManager || !sourceManager->fillAssemblerLines(block, assemblerLines, assemblerGenerator, {})) {
    assemblerLines->clear();
    return false;
  }
  return assemblerLines->size() != 0;
}

bool AssemblerRowVisitHandler::findIndirectAccess(const row_t& row) {
  using namespace assembler_analysis;
  constexpr class_mask_t callClass{1ULL << 60};

  if (hasIndirectCall) return true;
  if (!parseAssembler(row)) return hasIndirectCall;
  for (const AssemblerLine& line : *assemblerLines) {
    if (!line.hasType(callClass) || line.operandCount() == 0) continue;
    const Operand& target = line.operand(0);
    // The name the line gives its target: the resolved symbol, or else the
    // line's text (a source manager may name targets in the text alone).
    // A vectorized loop calls the vector variant of a declare simd function
    // through the import slot of -fno-plt and PIC code; that is the
    // vectorized call working, not a pointer in the way. Asked before the
    // symbol test, which would pass the call over too when the slot is named.
    const std::string& name = line.targetSymbol().empty() ? line.text() : line.targetSymbol();
    if (issue_helpers::isVectorFunctionByMangledName(name)) continue;
    // A slot or target that resolves to a symbol is a call of a named
    // function, not through a pointer the program computed.
    if (target.hasKind(KindKnownTarget)) continue;
    // What is left is a target the call reads from memory or takes from a
    // register without a name for it: a pointer the compiler couldn't see
    // through. A relative call without a name is still a direct one.
    if (target.hasKind(KindMemory | KindFixedMemory | KindRegister)) {
      hasIndirectCall = true;
      return true;
    }
  }
  return hasIndirectCall;
}

}  // namespace data_models2
