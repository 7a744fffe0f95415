#include "discmodels2/recommendations_model/traits/trait_indirect_calls.h"

#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/model_support/trait_factory.h"

namespace data_models2::issues {

using namespace data_abstractions2;

namespace {
// The loop's own rows only: a call in an inner loop gets its trait there.
constexpr int kOwnRowsOnly = 1;
}  // namespace

bool TraitIndirectCalls::detect(row_t row, TraitList traits) const {
  if (!row || !dataProvider || !traits) return false;
  // Taken like every detector does, so that a row asked about outside the
  // scan is filled before its call tree is walked.
  (void)dataProvider->getData(row);

  sptr_t<AssemblerRowVisitHandler> walk = dataProvider->visitRowsForAssembler(row, kOwnRowsOnly);
  if (!walk || !walk->indirectCallFound()) return false;

  traits->push_back(createTrait(ITrait::IndirectCalls, translate("indirect_calls_trait_text"), FieldNone));
  return true;
}

}  // namespace data_models2::issues
