#include "discmodels2/recommendations_model/messages/translation.h"

#include <atomic>
#include <mutex>

#include "platform/configuration/message_catalogs.h"

namespace data_models2::issues {

namespace {

const std::string platformSuffix = "_lin";

// The process's catalogue, asked for once: a missing catalogue is not asked
// for again at every message.
const std::shared_ptr<const portability::catalog_t>& productionCatalog() {
  static const std::shared_ptr<const portability::catalog_t> catalog =
      configuration::getMessageCatalog(recommendationsCatalogName);
  return catalog;
}

// The test override. The flag keeps the production path to one relaxed load;
// the mutex guards the pointer for tests that swap it while translating.
std::atomic<bool> overrideActive{false};
std::mutex overrideMutex;
std::shared_ptr<const portability::catalog_t> overrideCatalog;

std::shared_ptr<const portability::catalog_t> currentCatalog() {
  if (overrideActive.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> lock(overrideMutex);
    return overrideCatalog;
  }
  return productionCatalog();
}

portability::varg_list numberedArguments(const portability::variant& a1, const portability::variant& a2,
                                         const portability::variant& a3) {
  return portability::varg_list{{"%1", a1}, {"%2", a2}, {"%3", a3}};
}

}  // namespace

const std::string& getLangSuffix(bool isFortran) {
  static const std::string fortran = "_fortran";
  static const std::string cpp = "_cpp";
  return isFortran ? fortran : cpp;
}

unsigned getLangFlag(bool isFortran) { return isFortran ? 128u : 64u; }

std::string translate(const std::string& key, const portability::variant& a1, const portability::variant& a2,
                      const portability::variant& a3) {
  return translateEx(key, std::string(), numberedArguments(a1, a2, a3));
}

std::string translate(const std::string& key, const portability::varg_list& args) {
  return translateEx(key, std::string(), args);
}

std::string translateEx(const std::string& key, const std::string& suffix, const portability::variant& a1,
                        const portability::variant& a2, const portability::variant& a3) {
  return translateEx(key, suffix, numberedArguments(a1, a2, a3));
}

std::string translateEx(const std::string& key, const std::string& suffix, const portability::varg_list& args) {
  std::shared_ptr<const portability::catalog_t> catalog = currentCatalog();
  if (!catalog) return key;
  // Platform and language together first, then language alone, then
  // platform alone: a language form is the more telling one.
  const std::string candidates[] = {key + platformSuffix + suffix, key + suffix, key + platformSuffix, key};
  for (const std::string& candidate : candidates) {
    if (catalog->has_message(candidate)) return catalog->message(candidate).as_ustring(args);
  }
  return key;
}

void setCatalogForTesting(std::shared_ptr<const portability::catalog_t> catalog) {
  std::lock_guard<std::mutex> lock(overrideMutex);
  overrideCatalog = std::move(catalog);
  overrideActive.store(true, std::memory_order_release);
}

void clearCatalogForTesting() {
  std::lock_guard<std::mutex> lock(overrideMutex);
  overrideActive.store(false, std::memory_order_release);
  overrideCatalog.reset();
}

}  // namespace data_models2::issues
