#pragma once
// The kinds of dependency that the dependency analysis reports, and the
// texts under which a result stores them.

#include <string>

namespace data_models2 {

/// Kinds of a dependency record (the DependencyField of loop table 2).
enum DependencyType : int {
  DependencyReadAfterWrite = 0,   ///< true dependency: an iteration reads what an earlier one wrote
  DependencyWriteAfterRead = 1,   ///< anti dependency
  DependencyWriteAfterWrite = 2,  ///< output dependency
  DependencyReadAfterRead = 3,    ///< input dependency; reordering is safe
  DependencyNone = 4,             ///< the loop was analysed and nothing was found
  DependencyReduction = 5,        ///< a reduction, which vector code can carry
};

/// The text a result stores in a dependency record for a kind:
///
///   0 "Read after write dependency"    3 "Read after read dependency"
///   1 "Write after read dependency"    4 "No dependency"
///   2 "Write after write dependency"   5 "Reduction"
///
/// Readers compare whole texts, so these must stay exactly as written.
/// Other numbers give an empty text.
const std::string& getDependencyStr(int type);

}  // namespace data_models2
