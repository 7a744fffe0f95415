#pragma once
// Typed reads of row fields.

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "data_abstractions2/field_id.h"
#include "data_abstractions2/i_dataset.h"

namespace data_models2 {

/// Which fields a fill found on its row, read like a map from field to
/// bool: `presence[id]` is false for a field never asked about (and
/// remembers it as asked), `count` and `at` answer for asked fields only.
/// A record per row lives through a scan, so this is a sorted array of a few
/// dozen entries rather than a tree node per field.
class FieldPresence {
 public:
  /// The entry of `id`, made false when there was none. The reference holds
  /// until the next entry is made.
  bool& operator[](data_abstractions2::FieldId id) {
    auto it = lowerBound(id);
    if (it == entries_.end() || it->first != id) it = entries_.emplace(it, id, false);
    return it->second;
  }
  std::size_t count(data_abstractions2::FieldId id) const {
    auto it = lowerBound(id);
    return it != entries_.end() && it->first == id ? 1 : 0;
  }
  /// Precondition: count(id) == 1.
  bool at(data_abstractions2::FieldId id) const { return lowerBound(id)->second; }
  std::size_t size() const { return entries_.size(); }

 private:
  using entry_t = std::pair<data_abstractions2::FieldId, bool>;
  std::vector<entry_t>::iterator lowerBound(data_abstractions2::FieldId id) {
    return std::lower_bound(entries_.begin(), entries_.end(), id,
                            [](const entry_t& entry, data_abstractions2::FieldId key) { return entry.first < key; });
  }
  std::vector<entry_t>::const_iterator lowerBound(data_abstractions2::FieldId id) const {
    return std::lower_bound(entries_.begin(), entries_.end(), id,
                            [](const entry_t& entry, data_abstractions2::FieldId key) { return entry.first < key; });
  }

  std::vector<entry_t> entries_;
};

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
                 FieldPresence* fieldPresence);

  /// Reads `id` into `out`; on failure `out` keeps its value. Either way
  /// `fieldPresence[id]` becomes whether the read succeeded, so a field read
  /// twice keeps the last answer. Defined for std::uint64_t, std::int64_t,
  /// int, double, bool and std::string.
  template <class T>
  void operator()(data_abstractions2::FieldId id, T& out) const;

 private:
  data_abstractions2::row_t row;
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  FieldPresence* fieldPresence;
};

/// Reads `id` of `row` from `dataset` with the conversion rules of
/// FieldRetriever, except that a missing dataset, a missing value or a value
/// of a kind that doesn't fit `T` gives `fallback`. Defined for std::int64_t,
/// std::uint64_t, int, double, bool and std::string.
template <class T>
T checkData(data_abstractions2::FieldId id, const T& fallback, const data_abstractions2::row_t& row,
            const data_abstractions2::sptr_t<data_abstractions2::IDataset>& dataset);

}  // namespace data_models2
