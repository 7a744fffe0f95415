#include "discmodels2/recommendations_model/data/calls_below_row_visit_handler.h"

#include <utility>

namespace data_models2 {

using namespace data_abstractions2;

namespace {

const variant_bag_t& classifiedMark() {
  static const variant_bag_t mark = [] {
    variant_bag_t bag;
    bag.put("", variant_t(1));
    return bag;
  }();
  return mark;
}

}  // namespace

CallsBelowRowVisitHandler::CallsBelowRowVisitHandler(sptr_t<IDataset> dataset, RowSet* rows)
    : dataset(std::move(dataset)), rows(rows) {}

variant_bag_t CallsBelowRowVisitHandler::handlePreVisit(row_t, const variant_bag_t&, bool&) { return {}; }

variant_bag_t CallsBelowRowVisitHandler::handlePostVisit(row_t row, const std::vector<variant_bag_t>& fromChildren) {
  if (!row || !rows) return {};
  bool below = false;
  for (const variant_bag_t& child : fromChildren) {
    if (!child.empty()) {
      below = true;
      break;
    }
  }
  if (below) rows->insert(row.get());
  // Empty bags cost nothing to hand up, and most rows of a nest have one.
  if (below || PresenceRowVisitHandler::classifies(row, dataset)) return classifiedMark();
  return {};
}

}  // namespace data_models2
