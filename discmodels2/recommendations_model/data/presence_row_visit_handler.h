#pragma once

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_visit_handler.h"

namespace data_models2 {

/// Sorts what a loop calls into classes, walking the call tree down from
/// the loop's own rows: math library functions (scalar, vector, the C
/// library's vector variants), compiled vector functions, the threading
/// runtime and its thread-count and lock calls, system functions and user
/// functions.
///
/// The walk goes on through user functions and rows it can't classify, and
/// stops below a function of a library (math, vector math, threading) and
/// below a system function: what those call is not the loop's business.
/// Rows without a function kind (Field24), such as loops, are passed through
/// unclassified. A plain function that doesn't say whether it is a system
/// function (no IsSystemFunction) counts as one: unknown code is not the
/// user's. The compiler's own memset and memcpy helpers are skipped without
/// counting. Only the pre-visit walk is supported.
class PresenceRowVisitHandler
    : public data_abstractions2::IVisitHandler<data_abstractions2::INode<data_abstractions2::IRowSpecification>> {
 public:
  /// Bits of Facts::threadingFlags.
  enum : unsigned {
    ThreadingRuntime = 1,  ///< a function of the threading runtime
    ThreadCountCall = 2,   ///< one that asks or sets the number of threads
    LockCall = 4,          ///< one that takes or releases a lock
  };

  /// What the walk found, accumulated over all rows it visited.
  struct Facts {
    bool hasSystemFunction = false;
    /// A system function stood at the top of the walk (a root row).
    bool hasDirectSystemFunction = false;
    bool hasUserFunction = false;
    bool hasScalarMath = false;
    unsigned threadingFlags = 0;
    bool hasVectorMath = false;
    /// A function of the C library's vector math library.
    bool hasLibmvec = false;
    /// A function that the compiler marked as a vector variant (Field24 1).
    bool hasVectorFunction = false;
    /// A function name held "::".
    bool hasCppNames = false;
    /// Lower-case names of the user functions.
    std::set<std::string> userNames;
  };

  /// Rows of the walked tree, by address.
  using RowSet = std::unordered_set<const data_abstractions2::INode<data_abstractions2::IRowSpecification>*>;

  /// `dataset` is the tree being walked; the row fields are read from it.
  /// With `rowsWithCallsBelow` (CallsBelowRowVisitHandler's rows for the
  /// same tree; borrowed) the walk skips what lies below any other row,
  /// which can't change the facts.
  explicit PresenceRowVisitHandler(data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset,
                                   const RowSet* rowsWithCallsBelow = nullptr);

  /// Classifies one row. Always returns a non-empty bag, so that children
  /// can tell a parent row from the top of the walk by their `fromParent`.
  data_abstractions2::variant_bag_t handlePreVisit(data_abstractions2::row_t row,
                                                   const data_abstractions2::variant_bag_t& fromParent,
                                                   bool& descend) override;
  /// Not supported; reports an assertion and returns an empty bag.
  data_abstractions2::variant_bag_t handlePostVisit(
      data_abstractions2::row_t row, const std::vector<data_abstractions2::variant_bag_t>& fromChildren) override;

  const Facts& facts() const { return found; }

  /// Runtime functions that ask or set the number of threads; a name that
  /// contains one of them counts.
  static std::span<const std::string_view> threadCountNames();
  /// Runtime functions that take or release a lock, likewise.
  static std::span<const std::string_view> lockNames();
  /// True when one of `names` occurs in `name`.
  static bool findName(std::span<const std::string_view> names, std::string_view name);
  /// True for the compiler's own memory helpers: names that contain "vorex"
  /// and end, at least one character later, in "memset" or "memcpy".
  static bool isCompilerMemoryHelper(std::string_view name);
  /// True when handlePreVisit may change the facts or stop the walk at
  /// `row`: a function (Field24 0 or 1), a compiled vector variant by its
  /// mangled name, or a name with "::". Any other row is passed through.
  static bool classifies(const data_abstractions2::row_t& row,
                         const data_abstractions2::sptr_t<data_abstractions2::IDataset>& dataset);

 private:
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  const RowSet* rowsWithCallsBelow;
  Facts found;
};

}  // namespace data_models2
