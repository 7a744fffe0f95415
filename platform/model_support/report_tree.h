#pragma once
// The shape of a result tree as the report file sees it: its rows in tree
// order and a fingerprint of that shape.

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "data_abstractions2/i_dataset.h"

namespace data_models2 {

/// Collects the rows of a dataset, parents before children and siblings in
/// tree order, and hashes their ids and parent links into a fingerprint. Two
/// results that share the fingerprint have rows with the same ids in the
/// same places, so findings stored by row id fit both.
///
/// The walk is iterative (trees may be deep). Null rows are skipped, and so
/// is a row whose id was met before: a tree that reached a row twice would
/// otherwise be walked forever.
class ReportTree {
 public:
  struct entry_t {
    data_abstractions2::row_t row;
    std::uint64_t id = 0;
  };

  static ReportTree collect(const foundation::sptr_t<data_abstractions2::IDataset>& dataset);

  const std::vector<entry_t>& rows() const { return rows_; }
  std::size_t size() const { return rows_.size(); }
  /// Sixteen lower-case hex digits.
  std::string fingerprint() const;
  /// The row of an id, or null when the tree has no such row.
  data_abstractions2::row_t find(std::uint64_t id) const;
  /// The place of an id in rows(), or npos when the tree has no such row.
  std::size_t position(std::uint64_t id) const;
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

 private:
  std::vector<entry_t> rows_;
  std::unordered_map<std::uint64_t, std::size_t> index_;
  std::uint64_t hash_ = 0;
};

}  // namespace data_models2
