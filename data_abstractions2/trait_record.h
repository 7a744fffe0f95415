#pragma once
// Private to the data layer: the record behind createTraitRecord.

#include <string>

#include "data_abstractions2/i_records.h"

namespace data_abstractions2 {

/// A trait: an id, a text and the table column it is shown beside. Nothing
/// of it changes after construction, so it needs no lock.
class TraitRecord : public ITrait {
 public:
  TraitRecord(Id id, const std::string& text, FieldId column);

  Id getTraitId() const override { return id_; }
  const std::string& getText() const override { return text_; }
  FieldId getFieldId() const override { return column_; }

 private:
  const Id id_;
  const std::string text_;
  const FieldId column_;
};

}  // namespace data_abstractions2
