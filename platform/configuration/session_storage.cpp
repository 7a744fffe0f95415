#include "platform/configuration/session_storage.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <simdjson.h>

#include "platform/foundation/atomic_file.h"
#include "platform/foundation/json_reader.h"
#include "platform/foundation/json_writer.h"

namespace configuration {

using foundation::sptr_t;
using foundation::variant_t;

namespace {

using values_t = std::map<std::string, variant_t>;

log4cplus::Logger storageLogger() { return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("nimbex.session")); }

/// Whether the file can hold `v`: a value it writes and reads back the same.
bool storable(const variant_t& v) {
  if (v.empty()) return false;
  if (v.is_floating()) return std::isfinite(v.as_double());
  if (v.is_text()) return simdjson::validate_utf8(v.text());
  return true;
}

std::string format(const values_t& values) {
  std::string out = "{";
  bool first = true;
  for (const auto& [key, value] : values) {
    out += first ? "\n  " : ",\n  ";
    first = false;
    foundation::append_json_string(out, key);
    out += ": ";
    foundation::append_json_typed_value(out, value);
  }
  out += first ? "}\n" : "\n}\n";
  return out;
}

/// Each problem once per process: a scan opens the storage many times, and
/// a user needs to hear of a damaged file once.
void warnOnce(const std::string& text) {
  static std::mutex mutex;
  static std::set<std::string> said;
  {
    std::lock_guard<std::mutex> lock(mutex);
    if (!said.insert(text).second) return;
  }
  LOG4CPLUS_WARN(storageLogger(), text);
}

enum class file_state_t { missing, read, damaged };

/// Reads the file into `values`: empty when it is missing or damaged. A
/// damaged file (unreadable, or not a JSON object) is the user's or the
/// host's and must not be replaced: `problem` says what is wrong with it,
/// naming the file and the place. An entry that can't be read is skipped
/// with a warning, and the next save drops it.
file_state_t readFile(const std::string& path, values_t& values, std::string& problem) {
  values.clear();
  struct stat st;
  const bool found = ::stat(path.c_str(), &st) == 0;
  if (!found && errno == ENOENT) return file_state_t::missing;
  // An empty file holds nothing that a save could lose.
  if (found && S_ISREG(st.st_mode) && st.st_size == 0) return file_state_t::missing;

  foundation::JsonReader reader(path);
  simdjson::padded_string text;
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  simdjson::dom::object entries;
  const foundation::JsonPath top;
  if (!reader.loadFile(path, text) || !reader.parse(parser, text, root) || !reader.readObject(root, top, entries)) {
    problem = reader.error();
    return file_state_t::damaged;
  }
  for (auto field : entries) {
    variant_t value;
    if (reader.readTyped(field.value, foundation::JsonPath(top, field.key), value)) {
      values[std::string(field.key)] = value;
    } else {
      warnOnce(reader.error() + "; the entry is skipped");
      reader.clearError();
    }
  }
  return file_state_t::read;
}

void warnDamaged(const std::string& problem) { warnOnce(problem + "; left as it is, and nothing is saved to it"); }

/// An advisory lock on the result directory. Locking the directory rather
/// than the file keeps the lock valid across the rename that replaces the
/// file, and needs no extra file in a result that may be read-only.
class directory_lock_t {
 public:
  directory_lock_t(const std::string& dir, int operation) {
    fd_ = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd_ < 0) return;
    while (::flock(fd_, operation) != 0) {
      if (errno != EINTR) {
        // Unlocked is still better than not reading or writing at all.
        LOG4CPLUS_WARN(storageLogger(), dir << ": no lock: " << std::strerror(errno));
        break;
      }
    }
  }
  ~directory_lock_t() {
    if (fd_ >= 0) ::close(fd_);  // releases the lock
  }
  directory_lock_t(const directory_lock_t&) = delete;
  directory_lock_t& operator=(const directory_lock_t&) = delete;

 private:
  int fd_ = -1;
};

class SessionStorage : public ISessionStorage {
 public:
  SessionStorage(std::string dir) : dir_(std::move(dir)), path_(dir_ + "/" + file_name) {
    directory_lock_t lock(dir_, LOCK_SH);
    std::string reason;
    if (readFile(path_, values_, reason) == file_state_t::damaged) warnDamaged(reason);
  }

  variant_t get(const std::string& key, const variant_t& fallback) const override {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = values_.find(key);
    return it == values_.end() ? fallback : it->second;
  }

  bool find(const std::string& key, variant_t& value) const override {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = values_.find(key);
    if (it == values_.end()) return false;
    value = it->second;
    return true;
  }

  bool set(const std::string& key, const variant_t& value) override {
    if (!storable(value) || !simdjson::validate_utf8(key)) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    values_[key] = value;
    changes_[key] = value;
    return true;
  }

  void erase(const std::string& key) override {
    std::lock_guard<std::mutex> lock(mutex_);
    values_.erase(key);
    changes_[key] = std::nullopt;
  }

  bool save() override {
    std::lock_guard<std::mutex> lock(mutex_);
    directory_lock_t dirLock(dir_, LOCK_EX);
    // What others saved since this object read the file, with this object's
    // changes on top.
    values_t merged;
    std::string reason;
    if (readFile(path_, merged, reason) == file_state_t::damaged) {
      // Replacing it would lose whatever the host keeps there.
      warnDamaged(reason);
      return false;
    }
    for (const auto& [key, change] : changes_) {
      if (change) merged[key] = *change;
      else merged.erase(key);
    }
    // A reader sees the old file or the new one, never half of one.
    std::string error;
    if (!foundation::write_file_atomically(path_, format(merged), error)) {
      warnOnce(error);
      return false;
    }
    values_ = std::move(merged);
    changes_.clear();
    return true;
  }

  std::string path() const override { return path_; }

 private:
  const std::string dir_;
  const std::string path_;
  mutable std::mutex mutex_;
  values_t values_;
  /// Keys set (a value) or erased (nullopt) since the last save.
  std::map<std::string, std::optional<variant_t>> changes_;
};

}  // namespace

sptr_t<ISessionStorage> ISessionStorage::create(const std::string& resultDir) {
  struct stat st;
  if (resultDir.empty() || ::stat(resultDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return nullptr;
  return foundation::pool_allocate<SessionStorage, ISessionStorage>(resultDir);
}

}  // namespace configuration
