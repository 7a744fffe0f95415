#include "platform/host_data/session_seed.h"

#include "platform/configuration/session_storage.h"

namespace host_data {

bool seedSessionStorage(const ResultModels& models, std::string& error) {
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
    if (storage->find(key, existing)) continue;
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
