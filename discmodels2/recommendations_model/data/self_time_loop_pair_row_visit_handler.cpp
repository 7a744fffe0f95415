#include "discmodels2/recommendations_model/data/self_time_loop_pair_row_visit_handler.h"

#include <algorithm>
#include <map>

#include "discmodels2/recommendations_model/data/field_retriever.h"

namespace data_models2 {

using namespace data_abstractions2;

SelfTimeLoopPairRowVisitHandler::SelfTimeLoopPairRowVisitHandler(sptr_t<IDataset> dataset)
    : dataset(std::move(dataset)) {}

variant_bag_t SelfTimeLoopPairRowVisitHandler::handlePreVisit(row_t row, const variant_bag_t&, bool&) {
  if (!row) return {};
  sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || !metadata->hasType(IMetadata::TypeLoop) || metadata->hasType(IMetadata::TypeMarked)) return {};

  FieldPresence presence;
  double selfTime = 0.0;
  FieldRetriever(row, dataset, &presence)(SelfTime, selfTime);
  if (presence[SelfTime]) loops.emplace_back(selfTime, row);
  return {};
}

variant_bag_t SelfTimeLoopPairRowVisitHandler::handlePostVisit(row_t, const std::vector<variant_bag_t>&) {
  return {};
}

std::size_t SelfTimeLoopPairRowVisitHandler::getLowerBound(const LoopList& loops, double selfTime) {
  auto first = std::lower_bound(loops.begin(), loops.end(), selfTime,
                                [](const LoopList::value_type& entry, double time) { return entry.first < time; });
  return static_cast<std::size_t>(loops.end() - first);
}

}  // namespace data_models2
