#pragma once
// Finding and loading the message catalogues that ship with the program.
//
// A catalogue named N is the file "N.po" in the first of these folders that
// has it:
//   1. $NIMBEX_MESSAGES_DIR, when set and not empty; then no other folder is
//      searched, so a wrong setting shows instead of being papered over;
//   2. <folder of the running program>/../share/nimbex/messages (installed);
//   3. <folder of the running program>/messages;
//   4. the build tree's messages folder, then the source tree's
//      resources/messages (runs from a build tree, tests).
// A file that exists but does not parse ends the search: falling through to
// another copy would hide the broken one.

#include <memory>
#include <string>
#include <vector>

#include "platform/portability/message_catalog.h"

namespace configuration {

/// The environment variable that replaces the search folders.
inline constexpr const char* messagesDirVariable = "NIMBEX_MESSAGES_DIR";

/// The catalogue `name`, loaded at the first request for that name and
/// shared afterwards; null when it is missing or broken (then
/// `getMessageCatalogError(name)` says why). Safe to call from any thread.
std::shared_ptr<const portability::catalog_t> getMessageCatalog(const char* name);

/// Why the last load of `name` gave null, as one line naming the file and
/// line ("…/x.po:12: string has no closing quote") or the folders searched;
/// empty when the catalogue loaded or was never asked for. The command-line
/// tool prints it once; the library itself stays quiet.
std::string getMessageCatalogError(const char* name);

/// The folders searched, in order, as described above. Folders that do not
/// exist are listed too; the search skips them.
std::vector<std::string> messageCatalogSearchDirs();

/// Searches `dirs` for "<name>.po" and loads the first found, without the
/// per-name cache of `getMessageCatalog`. On null, `error` says why.
std::shared_ptr<const portability::catalog_t> loadMessageCatalog(const std::string& name,
                                                                 const std::vector<std::string>& dirs,
                                                                 std::string& error);

/// Forgets the loaded catalogues, so that the next request searches again.
/// For tests that change NIMBEX_MESSAGES_DIR between cases.
void resetMessageCatalogsForTesting();

}  // namespace configuration
