#pragma once
// Handing the session values that the profiler recorded in result.json to
// the session storage, through which the library reads them (for example
// "totalElapsedTime", against which a loop's time is judged).

#include <string>
#include <vector>

#include "platform/host_data/result_loader.h"

namespace host_data {

/// Sets, in the session storage of the result's directory, each value of
/// `models.session` that the storage does not hold yet, and saves when any
/// was set. Values the storage already has win: they were written later, by
/// the host — unless they are of another kind (a text where the result has
/// a number): then the result's value stands and `warnings` gets a line
/// naming the key. False, with `error` set, when the storage cannot be
/// opened or saved.
bool seedSessionStorage(const ResultModels& models, std::string& error, std::vector<std::string>* warnings = nullptr);

}  // namespace host_data
