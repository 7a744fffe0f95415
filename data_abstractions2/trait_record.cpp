#include "data_abstractions2/trait_record.h"

namespace data_abstractions2 {

TraitRecord::TraitRecord(Id id, const std::string& text, FieldId column) : id_(id), text_(text), column_(column) {}

}  // namespace data_abstractions2
