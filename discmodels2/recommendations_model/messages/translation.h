#pragma once
// From a message key and up to three arguments to the text a user reads.
//
// Keys may have special forms for this platform ("_lin") and for the source
// language of the loop ("_cpp", "_fortran"); the most special form that the
// catalogue has wins:
//   key + "_lin" + suffix, key + suffix, key + "_lin", key.
// A key found in none of its forms, or a missing catalogue, gives the key
// itself, so a missing text shows up as its key and is never an error.
//
// Keys used by the detectors are checked against the catalogue by
// tests/discmodels2/recommendations_model/messages/catalog_keys_test.cpp;
// docs/message-catalog.md says how to write them so that the check sees
// them.

#include <memory>
#include <string>

#include "platform/portability/message_catalog.h"

namespace data_models2::issues {

/// The name under which the catalogue of this library is looked up.
inline constexpr const char* recommendationsCatalogName = "data_models.recommendations";

/// "_fortran" when true, "_cpp" when false.
const std::string& getLangSuffix(bool isFortran);

/// The language bit of an issue's flags: 128 for Fortran, 64 otherwise.
unsigned getLangFlag(bool isFortran);

/// `key` with the arguments named "%1", "%2", "%3". Pass a default
/// `variant` for an argument the text does not need.
std::string translate(const std::string& key, const portability::variant& a1 = portability::variant(),
                      const portability::variant& a2 = portability::variant(),
                      const portability::variant& a3 = portability::variant());
std::string translate(const std::string& key, const portability::varg_list& args);

/// As `translate`, trying the forms of `key` with `suffix` first. The
/// suffix is usually `getLangSuffix(isFortran)`, but any text works: a
/// caller may key texts by an algorithm's name the same way.
std::string translateEx(const std::string& key, const std::string& suffix,
                        const portability::variant& a1 = portability::variant(),
                        const portability::variant& a2 = portability::variant(),
                        const portability::variant& a3 = portability::variant());
std::string translateEx(const std::string& key, const std::string& suffix, const portability::varg_list& args);

/// Tests only: makes translation use `catalog` (null for "no catalogue")
/// instead of the one found at the first translation, until
/// `clearCatalogForTesting`. Production code never calls these, and
/// without them the catalogue is looked up once per process.
void setCatalogForTesting(std::shared_ptr<const portability::catalog_t> catalog);
void clearCatalogForTesting();

}  // namespace data_models2::issues
