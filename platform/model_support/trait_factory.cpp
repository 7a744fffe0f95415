#include "platform/model_support/trait_factory.h"

namespace data_models2 {

data_abstractions2::sptr_t<data_abstractions2::ITrait> createTrait(data_abstractions2::ITrait::Id id,
                                                                   const std::string& text,
                                                                   data_abstractions2::FieldId column) {
  // The record type is the data layer's; the library only names what it
  // wants made.
  return data_abstractions2::createTraitRecord(id, text, column);
}

}  // namespace data_models2
