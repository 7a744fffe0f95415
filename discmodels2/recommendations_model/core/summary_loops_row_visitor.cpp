#include "discmodels2/recommendations_model/core/summary_loops_row_visitor.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "discmodels2/recommendations_model/data/field_retriever.h"
#include "platform/portability/assert.h"

namespace data_models2 {

namespace da = data_abstractions2;
using foundation::sptr_t;
using foundation::variant_t;

namespace {

// Row type bits that say how a loop ran; they have no names in the metadata.
constexpr da::IMetadata::type_t vectorizedLoopBit = 256;
constexpr da::IMetadata::type_t scalarLoopBit = 4096;
// Issues of the compiler diagnostics and potential vectorizability carry
// this flag: they explain, they do not tell what to change.
constexpr unsigned notForSummaryFlag = 2;

/// An integer cell as a 64-bit number; anything else, or nothing, is 0.
std::int64_t integerCell(const sptr_t<da::IDataset>& dataset, const da::row_t& row, da::FieldId id) {
  variant_t value;
  if (!dataset->getValue(row, dataset->getColumn(id), 0, value) || !value.is_integer()) return 0;
  return value.as_i64();
}

}  // namespace

SummaryLoopsRowVisitor::SummaryLoopsRowVisitor(sptr_t<da::IDataset> dataset) : dataset(std::move(dataset)) {}

da::variant_bag_t SummaryLoopsRowVisitor::handlePreVisit(da::row_t row, const da::variant_bag_t& /*fromParent*/,
                                                         bool& descend) {
  // Inner loops are candidates as much as their parents.
  descend = true;
  if (!dataset || !row) return da::variant_bag_t();
  const sptr_t<da::IMetadata> metadata = row->getMetadata();
  if (!metadata || !metadata->hasType(da::IMetadata::TypeLoop) || metadata->hasType(da::IMetadata::TypeMarked)) {
    return da::variant_bag_t();
  }
  const da::column_t column = dataset->getColumn(da::SelfTime);
  if (column == da::kNoColumn) return da::variant_bag_t();
  variant_t value;
  if (!dataset->getValue(row, column, 0, value)) return da::variant_bag_t();
  const double time = (value.is_integer() || value.is_floating()) ? value.as_double() : 0.0;
  timedLoops.push_back(TimedLoop{row, time});
  return da::variant_bag_t();
}

da::variant_bag_t SummaryLoopsRowVisitor::handlePostVisit(da::row_t /*row*/,
                                                          const std::vector<da::variant_bag_t>& /*fromChildren*/) {
  NIMB_ASSERT_TEXT(false, "SummaryLoopsRowVisitHandler::handlePostVisit is not implemented");
  return da::variant_bag_t();
}

void SummaryLoopsRowVisitor::getLoopsWithRecommendations(boost::shared_ptr<summary_store::SurveyExSummaryData> summary,
                                                         unsigned maxLoops, int minConfidence) {
  if (!summary || maxLoops == 0) return;
  std::sort(timedLoops.begin(), timedLoops.end(),
            [](const TimedLoop& a, const TimedLoop& b) { return a.time > b.time; });
  unsigned count = 0;
  // Most loops of a large result give nothing to the summary: a record is
  // made anew only once the last one was handed over.
  boost::shared_ptr<summary_store::RecommendationsData> data;
  for (const TimedLoop& loop : timedLoops) {
    if (!loop.row) continue;
    if (!data) data = summary_store::RecommendationsData::create();
    {
      // A later scan may be writing the row's findings on another thread.
      const da::row_lock_t lock = loop.row->lockRow();
      for (auto issues = loop.row->rowIssues(); !issues.at_end(); issues.next()) {
        const sptr_t<da::IIssueEx>& issue = issues.current();
        if (!issue || issue->hasFlags(notForSummaryFlag)) continue;
        for (auto recs = issue->getRecommendations(); !recs.at_end(); recs.next()) {
          const sptr_t<da::IRecommendation>& rec = recs.current();
          if (!rec || rec->getConfidence() < minConfidence) continue;
          data->add(rec->getStringId(), rec->getTitle(), rec->getConfidence(), rec->getPriority());
        }
      }
    }
    if (data->empty()) continue;
    fillData(summary, loop, std::move(data));
    data.reset();
    if (++count >= maxLoops) break;
  }
}

void SummaryLoopsRowVisitor::fillData(boost::shared_ptr<summary_store::SurveyExSummaryData> summary,
                                      const TimedLoop& loop,
                                      boost::shared_ptr<summary_store::RecommendationsData> data) const {
  if (!summary || !dataset || !loop.row) return;
  const std::int64_t funcInstIdx = integerCell(dataset, loop.row, da::FuncInstIdx);
  const std::string functionName = checkData<std::string>(da::Field231, std::string(), loop.row, dataset);
  const std::string file = checkData<std::string>(da::Field232, std::string(), loop.row, dataset);
  const std::int64_t line = integerCell(dataset, loop.row, da::SourceLine);

  int kind = summary_store::SurveyExSummaryData::LoopOther;
  if (const sptr_t<da::IMetadata> metadata = loop.row->getMetadata()) {
    if (metadata->hasType(vectorizedLoopBit)) {
      kind = summary_store::SurveyExSummaryData::LoopVectorized;
    } else if (metadata->hasType(scalarLoopBit)) {
      kind = summary_store::SurveyExSummaryData::LoopScalar;
    }
  }
  const summary_store::locator_t location(file, static_cast<int>(line), 0);
  summary->addLoop(location, functionName, kind, loop.time, 0.0, std::string(), data, funcInstIdx);
}

}  // namespace data_models2
