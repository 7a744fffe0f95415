#pragma once
// `ISessionStorage`: named values kept with a result between sessions, such
// as whether the stored report still matches the data.
//
// The values live in "session.json" in the result directory, one JSON object
// from key to typed value, written the way result.json writes typed values
// (docs/session-storage.md):
//
//     {
//       "issues_cache_actual": true,
//       "runs": {"u32": 3},
//       "totalElapsedTime": 12.5
//     }
//
// A storage reads the file once, when it is made; `set` and `erase` change
// the object only, and `save` writes them. Several storages, in one process
// or in several, may be open on one directory: `save` re-reads the file
// under a lock on the directory and applies only the keys this object
// changed, so writers of different keys keep each other's values; for the
// same key the last save wins.

#include <string>

#include "platform/foundation/ref_counted.h"
#include "platform/foundation/sptr.h"
#include "platform/foundation/variant.h"

namespace configuration {

class ISessionStorage : public foundation::ref_countable_t {
 public:
  static constexpr const char* file_name = "session.json";

  /// The storage of `resultDir`; null when it is not an existing directory.
  /// A missing file is an empty storage. So is a file that exists but cannot
  /// be read or parsed: that is warned about once per process, and it is
  /// never replaced — `save` answers false while it stays so, since the host
  /// may keep values there that this reader doesn't understand.
  static foundation::sptr_t<ISessionStorage> create(const std::string& resultDir);

  /// The value under `key`, or `fallback` when there is none.
  virtual foundation::variant_t get(const std::string& key,
                                    const foundation::variant_t& fallback = foundation::variant_t()) const = 0;
  /// False, and `value` untouched, when there is no value under `key`.
  virtual bool find(const std::string& key, foundation::variant_t& value) const = 0;
  /// Sets the value under `key`. False, and nothing changes, for what the
  /// file cannot hold: an empty value (erase the key instead), a NaN or
  /// infinite real, text or a key that is not UTF-8.
  virtual bool set(const std::string& key, const foundation::variant_t& value) = 0;
  virtual void erase(const std::string& key) = 0;
  /// Writes the changes since the last save. False when the file could not
  /// be written, or exists and cannot be read; the changes are then kept for
  /// another try.
  virtual bool save() = 0;
  /// The file's path.
  virtual std::string path() const = 0;
};

}  // namespace configuration
