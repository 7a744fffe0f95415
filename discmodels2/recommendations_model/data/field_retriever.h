#pragma once
// Typed reads of row fields.

#include <map>

#include "data_abstractions2/field_id.h"
#include "data_abstractions2/i_dataset.h"

namespace data_models2 {

/// Reads fields of one row into typed members and records in a presence map
/// whether each read succeeded.
///
/// Conversion rules, by the kind of the stored value:
/// - integers and bools (a bool travels as a one-bit integer): an integer
///   target takes the 64-bit payload, an int its low 32 bits; a bool target
///   is true when the payload is not 0; a double target converts the payload
///   by the value's signedness;
/// - reals: only a double target takes them;
/// - text: only a string target takes it.
/// Any other combination stores 0, false, 0.0 or "" and still counts as
/// present: the row has the field, just not in the expected form.
///
/// Made for one fill and dropped with it; the presence map is borrowed and
/// must outlive the retriever.
class FieldRetriever {
 public:
  FieldRetriever(data_abstractions2::row_t row, data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset,
                 std::map<data_abstractions2::FieldId, bool>* fieldPresence);

  /// Reads `id` into `out`; on failure `out` keeps its value. Either way
  /// `fieldPresence[id]` becomes whether the read succeeded, so a field read
  /// twice keeps the last answer. Defined for std::uint64_t, std::int64_t,
  /// int, double, bool and std::string.
  template <class T>
  void operator()(data_abstractions2::FieldId id, T& out) const;

 private:
  data_abstractions2::row_t row;
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  std::map<data_abstractions2::FieldId, bool>* fieldPresence;
};

/// Reads `id` of `row` from `dataset` with the conversion rules of
/// FieldRetriever, except that a missing dataset, a missing value or a value
/// of a kind that doesn't fit `T` gives `fallback`. Defined for std::int64_t,
/// std::uint64_t, int, double, bool and std::string.
template <class T>
T checkData(data_abstractions2::FieldId id, const T& fallback, const data_abstractions2::row_t& row,
            const data_abstractions2::sptr_t<data_abstractions2::IDataset>& dataset);

}  // namespace data_models2
