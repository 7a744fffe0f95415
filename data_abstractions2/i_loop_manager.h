#pragma once
// Per-loop data that is not a plain field: trip counts, access patterns,
// dependencies, non-temporal store candidates.

#include <cstdint>
#include <string>
#include <vector>

#include "data_abstractions2/i_dataset.h"

namespace data_abstractions2 {

struct SourceTripCountsSummand {
  std::uint64_t value = 0;  ///< a trip count
  std::uint64_t count = 0;  ///< how often the loop ran with it
};

struct SourceTripCountsData {
  std::vector<SourceTripCountsSummand> summands;
  std::uint64_t value = 0;
};

/// One gather or scatter site of a loop.
struct Gather {
  std::string variableName;
  std::string patternCode;  ///< decimal number as text
  std::string sourceLocation;
};

struct Gathers {
  bool valid = false;
  std::vector<Gather> gathers;
  std::vector<int> indices;  ///< indices into the access pattern table
};

/// Shares of the stride kinds of a loop's accesses.
struct Strides {
  double kinds[3] = {0.0, 0.0, 0.0};
  bool valid = false;
  double get(int kind) const { return kind >= 0 && kind < 3 ? kinds[kind] : 0.0; }
};

/// A store that would do better as a non-temporal one; the entry begins with
/// the text that names the kind ("NT-stores").
struct NTSCandidatesEvictionsInfo {
  std::string kind;
  std::string variableName;
  std::uint64_t evictions = 0;
};

/// Tables a loop manager holds.
enum LoopTableKind : int {
  TableDependencies = 2,
  TableAccessPatterns = 3,
};

/// A read-only table: a selection of rows of a loop manager's table.
class ITableView : public ref_countable_t {
 public:
  virtual column_t getColumn(FieldId id) const = 0;
  virtual std::size_t rowCount() const = 0;
  virtual bool getValue(std::size_t index, column_t column, variant_t& value) const = 0;
};

class ILoopManager : public ref_countable_t {
 public:
  /// Trip counts of a loop: `id` is TripCountAverage (135) or CallCount (139).
  virtual bool getSourceTripCounts(const row_t& row, const sptr_t<IDataset>& dataset, FieldId id,
                                   SourceTripCountsData& data) const = 0;
  /// A table of per-loop records, or null.
  virtual sptr_t<IDataset> getTable(int kind) const = 0;
  /// Indices of the row's records in table `kind`.
  virtual void getIndices(const sptr_t<IDataset>& dataset, const row_t& row, int kind,
                          std::vector<int>& indices) const = 0;
  /// The records at `indices` of table `kind`, or null.
  virtual sptr_t<ITableView> getView(const std::vector<int>& indices, int kind) const = 0;
  /// Fills the gather records of the indices in `gathers`.
  virtual bool getGathers(Gathers& gathers) const = 0;
  /// Median of the row's source trip counts, in iterations; false when unknown.
  virtual bool getMedianSourceTripCount(const row_t& row, const sptr_t<IDataset>& dataset,
                                        std::int64_t& median) const {
    (void)row;
    (void)dataset;
    (void)median;
    return false;
  }
  virtual std::vector<NTSCandidatesEvictionsInfo> getNtsCandidates(const row_t& row, const sptr_t<IDataset>& dataset,
                                                                   int kind) const = 0;
};

}  // namespace data_abstractions2
