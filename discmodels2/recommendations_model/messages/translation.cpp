#include "discmodels2/recommendations_model/messages/translation.h"

#include <atomic>
#include <mutex>
#include <unordered_map>

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

std::shared_ptr<const portability::catalog_t> currentCatalog(bool& production) {
  production = !overrideActive.load(std::memory_order_acquire);
  if (!production) {
    std::lock_guard<std::mutex> lock(overrideMutex);
    return overrideCatalog;
  }
  return productionCatalog();
}

// A scan asks for the same few texts with the same few arguments row after
// row. Texts of the process's catalogue are kept by key, suffix and
// arguments, up to a bound: arguments that differ on every row (names,
// counts) would otherwise grow the memo with the result. Texts of a test's
// catalogue are not kept; another one may take its place at any time.
class TranslationMemo {
 public:
  static constexpr std::size_t kMaxTexts = 1 << 16;

  static std::string keyOf(const std::string& key, const std::string& suffix, const portability::varg_list& args) {
    std::string memoKey = key;
    memoKey += '\x1f';
    memoKey += suffix;
    for (std::size_t i = 0; i < args.size(); ++i) {
      memoKey += '\x1f';
      memoKey += args[i].name;
      memoKey += static_cast<char>('0' + args[i].value.kind());
      memoKey += args[i].value.as_ustring();
    }
    return memoKey;
  }
  bool find(const std::string& memoKey, std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = texts_.find(memoKey);
    if (found == texts_.end()) return false;
    text = found->second;
    return true;
  }
  void keep(std::string memoKey, const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (texts_.size() < kMaxTexts) texts_.emplace(std::move(memoKey), text);
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::string, std::string> texts_;
};

TranslationMemo& memo() {
  static TranslationMemo instance;
  return instance;
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
  bool production = false;
  std::shared_ptr<const portability::catalog_t> catalog = currentCatalog(production);
  if (!catalog) return key;
  std::string memoKey;
  std::string text;
  if (production) {
    memoKey = TranslationMemo::keyOf(key, suffix, args);
    if (memo().find(memoKey, text)) return text;
  }
  text = key;
  // Platform and language together first, then language alone, then
  // platform alone: a language form is the more telling one.
  const std::string candidates[] = {key + platformSuffix + suffix, key + suffix, key + platformSuffix, key};
  for (const std::string& candidate : candidates) {
    if (catalog->has_message(candidate)) {
      text = catalog->message(candidate).as_ustring(args);
      break;
    }
  }
  if (production) memo().keep(std::move(memoKey), text);
  return text;
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
