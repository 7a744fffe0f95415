#include "platform/host_data/session_seed.h"

#include "platform/configuration/session_storage.h"

namespace host_data {

namespace {

// Numbers of any width and signedness are one kind to a reader.
enum class kind_t { number, boolean, text, other };

kind_t kindOf(const foundation::variant_t& value) {
  if (value.is_integer() || value.is_floating()) return kind_t::number;
  if (value.is_bool()) return kind_t::boolean;
  if (value.is_text()) return kind_t::text;
  return kind_t::other;
}

}  // namespace

bool seedSessionStorage(const ResultModels& models, std::string& error, std::vector<std::string>* warnings) {
  if (!models.resultController) {
    error = "no result";
    return false;
  }
  const std::string directory = models.resultController->getResultDir(0);
  foundation::sptr_t<configuration::ISessionStorage> storage = configuration::ISessionStorage::create(directory);
  if (!storage) {
    error = directory + ": the session storage cannot be opened";
    return false;
  }
  bool changed = false;
  for (const auto& [key, value] : models.session) {
    foundation::variant_t existing;
    if (storage->find(key, existing)) {
      if (kindOf(existing) == kindOf(value)) continue;
      if (warnings) {
        warnings->push_back(storage->path() + ": session value \"" + key + "\" is " + existing.to_string() +
                            ", not of the kind the result records; the result's " + value.to_string() + " is used");
      }
    }
    if (!storage->set(key, value)) {
      error = storage->path() + ": session value \"" + key + "\" cannot be stored";
      return false;
    }
    changed = true;
  }
  if (changed && !storage->save()) {
    error = storage->path() + ": cannot be written";
    return false;
  }
  return true;
}

}  // namespace host_data
