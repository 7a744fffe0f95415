#include "platform/configuration/message_catalogs.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>

namespace configuration {

namespace {

constexpr const char* catalogExtension = ".po";

std::string executableDir() {
  char buffer[PATH_MAX];
  ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0) return {};
  return std::filesystem::path(std::string(buffer, static_cast<std::size_t>(n))).parent_path().string();
}

// A name is a file name, never a path: "../x" must not reach outside the
// catalogue folders.
bool isPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

struct cache_entry_t {
  std::shared_ptr<const portability::catalog_t> catalog;
  std::string error;
};

std::mutex& cacheMutex() {
  static std::mutex m;
  return m;
}

std::map<std::string, cache_entry_t>& cache() {
  static std::map<std::string, cache_entry_t> c;
  return c;
}

}  // namespace

std::vector<std::string> messageCatalogSearchDirs() {
  const char* overrideDir = std::getenv(messagesDirVariable);
  if (overrideDir != nullptr && *overrideDir != '\0') return {overrideDir};
  std::vector<std::string> dirs;
  std::string exeDir = executableDir();
  if (!exeDir.empty()) {
    dirs.push_back((std::filesystem::path(exeDir) / ".." / "share" / "nimbex" / "messages").lexically_normal().string());
    dirs.push_back((std::filesystem::path(exeDir) / "messages").string());
  }
#ifdef NIMBEX_BUILD_MESSAGES_DIR
  dirs.push_back(NIMBEX_BUILD_MESSAGES_DIR);
#endif
#ifdef NIMBEX_SOURCE_MESSAGES_DIR
  dirs.push_back(NIMBEX_SOURCE_MESSAGES_DIR);
#endif
  return dirs;
}

std::shared_ptr<const portability::catalog_t> loadMessageCatalog(const std::string& name,
                                                                 const std::vector<std::string>& dirs,
                                                                 std::string& error) {
  error.clear();
  if (!isPlainName(name)) {
    error = "message catalogue name '" + name + "' is not a plain file name";
    return nullptr;
  }
  const std::string fileName = name + catalogExtension;
  for (const std::string& dir : dirs) {
    std::filesystem::path candidate = std::filesystem::path(dir) / fileName;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(candidate, ec)) continue;
    portability::catalog_error_t failure;
    auto catalog = portability::load_catalog(name, candidate.string(), failure);
    if (!catalog) {
      error = failure.to_ustring();
    } else if (catalog->keys().empty() || (catalog->keys().size() == 1 && catalog->keys().front().empty())) {
      // A catalogue without a single message shows every text as its key,
      // just as a broken one does: the user hears of it the same way.
      error = candidate.string() + ": the catalogue holds no messages";
    }
    return catalog;
  }
  error = "message catalogue '" + fileName + "' not found in:";
  for (const std::string& dir : dirs) error += " " + dir;
  if (dirs.empty()) error += " (no folder to search)";
  return nullptr;
}

std::shared_ptr<const portability::catalog_t> getMessageCatalog(const char* name) {
  if (name == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(cacheMutex());
  auto found = cache().find(name);
  if (found != cache().end()) return found->second.catalog;
  cache_entry_t entry;
  // Failures are cached too: the search is not repeated per message, and
  // the error stays for whoever reports it.
  entry.catalog = loadMessageCatalog(name, messageCatalogSearchDirs(), entry.error);
  return cache().emplace(name, std::move(entry)).first->second.catalog;
}

std::string getMessageCatalogError(const char* name) {
  if (name == nullptr) return {};
  std::lock_guard<std::mutex> lock(cacheMutex());
  auto found = cache().find(name);
  return found == cache().end() ? std::string() : found->second.error;
}

void resetMessageCatalogsForTesting() {
  std::lock_guard<std::mutex> lock(cacheMutex());
  cache().clear();
}

}  // namespace configuration
