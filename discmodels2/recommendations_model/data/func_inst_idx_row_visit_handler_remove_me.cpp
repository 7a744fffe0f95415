#include "discmodels2/recommendations_model/data/func_inst_idx_row_visit_handler_remove_me.h"

#include <cstdint>
#include <utility>

#include "discmodels2/recommendations_model/data/field_retriever.h"

namespace data_models2 {

using namespace data_abstractions2;

FuncInstIdxRowVisitHandlerRemoveMe::FuncInstIdxRowVisitHandlerRemoveMe(sptr_t<IDataset> dataset, RowIndex* rows)
    : dataset(std::move(dataset)), rows(rows) {}

variant_bag_t FuncInstIdxRowVisitHandlerRemoveMe::handlePreVisit(row_t row, const variant_bag_t&, bool&) {
  if (!row || !rows) return {};
  const long long index = checkData<std::int64_t>(FuncInstIdx, -1, row, dataset);
  rows->emplace(index, row);
  return {};
}

variant_bag_t FuncInstIdxRowVisitHandlerRemoveMe::handlePostVisit(row_t, const std::vector<variant_bag_t>&) {
  return {};
}

}  // namespace data_models2
