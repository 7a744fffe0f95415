#pragma once
// A tree of rows with typed fields.

#include <cstddef>

#include "data_abstractions2/i_node.h"

namespace data_abstractions2 {

using column_t = int;
constexpr column_t kNoColumn = -1;

struct RowRoofline;  // i_surveying_view_model.h

class IDataset : public ref_countable_t {
 public:
  virtual DataType getDataType() const = 0;
  /// Column of a field, or kNoColumn when the dataset has no such field.
  virtual column_t getColumn(FieldId id) const = 0;
  /// Reads a cell; false when the row has no value there. `flags` is 0.
  virtual bool getValue(const row_t& row, column_t column, int flags, variant_t& value) const = 0;
  /// Rows of the whole tree.
  virtual std::size_t rowCount() const = 0;
  /// Top-level rows, in tree order.
  virtual generic_iterator_t<row_t> getRoots() const = 0;
  /// The id of the row at `index` in load order (tables address rows so).
  virtual std::uint64_t getRowId(int index) const = 0;
  /// The row of an id, or null.
  virtual row_t getRow(std::uint64_t id) const = 0;
  /// Roofline figures of a row of this dataset, as the view model's
  /// getRowRoofline gives them; false when the row has none or the dataset
  /// carries no such figures. The roofline support reads rows through the
  /// dataset alone.
  virtual bool getRowRoofline(const row_t& row, RowRoofline& roofline) const {
    (void)row;
    (void)roofline;
    return false;
  }
};

}  // namespace data_abstractions2
