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

/// One typed value; false for one this code can't read, such as an
/// integer outside its kind's range (a damaged entry, not something to
/// truncate silently).
bool readValue(simdjson::dom::element e, variant_t& out) {
  using simdjson::dom::element_type;
  switch (e.type()) {
    case element_type::INT64: out = variant_t(e.get_int64().value_unsafe()); return true;
    case element_type::DOUBLE: out = variant_t(e.get_double().value_unsafe()); return true;
    case element_type::BOOL: out = variant_t(e.get_bool().value_unsafe()); return true;
    case element_type::STRING: out = variant_t(e.get_string().value_unsafe()); return true;
    case element_type::OBJECT: break;
    default: return false;  // null, arrays, integers beyond i64
  }
  simdjson::dom::object object = e.get_object().value_unsafe();
  if (object.size() != 1) return false;
  const auto entry = *object.begin();
  variant_t::type_t kind;
  if (!variant_t::type_from_name(entry.key, kind)) return false;
  const simdjson::dom::element payload = entry.value;
  switch (kind) {
    case variant_t::t_empty: return false;
    case variant_t::t_bool: {
      bool b = false;
      if (payload.get_bool().get(b) != simdjson::SUCCESS) return false;
      out = variant_t(b);
      return true;
    }
    case variant_t::t_text: {
      std::string_view text;
      if (payload.get_string().get(text) != simdjson::SUCCESS) return false;
      out = variant_t(text);
      return true;
    }
    case variant_t::t_f32:
    case variant_t::t_f64: {
      double d = 0.0;
      if (payload.get_double().get(d) != simdjson::SUCCESS) return false;
      if (kind == variant_t::t_f32 && std::fabs(d) > std::numeric_limits<float>::max()) return false;
      out = kind == variant_t::t_f32 ? variant_t(static_cast<float>(d)) : variant_t(d);
      return true;
    }
    default: break;
  }
  if (payload.type() == element_type::UINT64) {
    const std::uint64_t raw = payload.get_uint64().value_unsafe();
    out = variant_t::make_integer(kind, raw);
    return !out.is_signed_integer() && out.as_u64() == raw;
  }
  std::int64_t number = 0;
  if (payload.get_int64().get(number) != simdjson::SUCCESS) return false;
  out = variant_t::make_integer(kind, static_cast<std::uint64_t>(number));
  if (out.is_signed_integer()) return out.as_i64() == number;
  return number >= 0 && out.as_u64() == static_cast<std::uint64_t>(number);
}

/// Parses the file's text into `values`. False for text that is not one
/// JSON object; entries that can't be read are skipped.
bool parse(const simdjson::padded_string& text, values_t& values, std::string& error) {
  simdjson::dom::parser parser;
  simdjson::dom::object entries;
  if (auto e = parser.parse(text).get_object().get(entries); e != simdjson::SUCCESS) {
    error = simdjson::error_message(e);
    return false;
  }
  for (auto field : entries) {
    variant_t v;
    if (readValue(field.value, v)) {
      values[std::string(field.key)] = v;
    } else {
      LOG4CPLUS_WARN(storageLogger(), "session storage: entry \"" << field.key << "\" skipped");
    }
  }
  return true;
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
/// damaged file (unreadable, or not our format) is the user's or the host's
/// and must not be replaced: `reason` says what is wrong with it.
file_state_t readFile(const std::string& path, values_t& values, std::string& reason) {
  values.clear();
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    if (errno == ENOENT) return file_state_t::missing;
    reason = std::strerror(errno);
    return file_state_t::damaged;
  }
  if (!S_ISREG(st.st_mode)) {
    reason = S_ISDIR(st.st_mode) ? "is a directory" : "is not a regular file";
    return file_state_t::damaged;
  }
  // An empty file holds nothing that a save could lose.
  if (st.st_size == 0) return file_state_t::missing;
  simdjson::padded_string text;
  if (simdjson::padded_string::load(path).get(text) != simdjson::SUCCESS) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    reason = fd < 0 ? std::strerror(errno) : "cannot be read";
    if (fd >= 0) ::close(fd);
    return file_state_t::damaged;
  }
  if (!parse(text, values, reason)) {
    values.clear();
    return file_state_t::damaged;
  }
  return file_state_t::read;
}

void warnDamaged(const std::string& path, const std::string& reason) {
  warnOnce(path + ": " + reason + "; left as it is, and nothing is saved to it");
}

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
    if (readFile(path_, values_, reason) == file_state_t::damaged) warnDamaged(path_, reason);
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
      warnDamaged(path_, reason);
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
