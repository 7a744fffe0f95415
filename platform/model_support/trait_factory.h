#pragma once
// The one way the library makes traits.

#include <string>

#include "data_abstractions2/field_id.h"
#include "data_abstractions2/i_records.h"

namespace data_models2 {

/// A trait of `id` with its finished (already translated) `text`, shown
/// beside the table column `column`; FieldNone for a trait that belongs to
/// no column. The record is immutable and may be shared between rows.
data_abstractions2::sptr_t<data_abstractions2::ITrait> createTrait(data_abstractions2::ITrait::Id id,
                                                                   const std::string& text,
                                                                   data_abstractions2::FieldId column);

}  // namespace data_models2
