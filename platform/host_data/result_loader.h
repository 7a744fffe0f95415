#pragma once
// Loading a result directory (docs/result-format.md) into the in-memory
// models that the library is given by its host.
//
//   host_data::LoadResult loaded = host_data::loadResultDirectory("/tmp/run1");
//   if (!loaded) { std::cerr << loaded.error() << "\n"; return 1; }
//   engine->init(loaded.models().resultController, ...);
//   engine->setSurveyModel(loaded.models().surveyModel);
//
// Loading never throws for bad input and never recurses over the trees: a
// broken file, a value of the wrong type, a dangling or duplicate row id or a
// cycle of children gives one error message of the form
//
//   /tmp/run1/result.json: /bottomUp/rows/3/fields/SelfTime: expected a number, got a string

#include <map>
#include <memory>
#include <unordered_map>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "platform/foundation/sptr.h"
#include "platform/host_data/host_result_controller.h"
#include "platform/host_data/host_surveying_view_model.h"

namespace host_data {

/// Session values recorded by the profiler, by key.
using SessionValues = std::map<std::string, foundation::variant_t>;

/// What a result directory gives the library.
struct ResultModels {
  foundation::sptr_t<HostResultController> resultController;
  foundation::sptr_t<HostSurveyingViewModel> surveyModel;
  /// The values of result.json's "session". The library reads session values
  /// through the configuration layer's session storage; seedSessionStorage
  /// (session_seed.h) hands these over to it.
  SessionValues session;
  /// The names of call targets and pointer slots by address, of all modules
  /// ("symbols"): what the machine code calls by name. Never null.
  std::shared_ptr<const std::unordered_map<std::uint64_t, std::string>> symbols =
      std::make_shared<const std::unordered_map<std::uint64_t, std::string>>();
};

/// The models, or the one error that stopped the load.
class LoadResult {
 public:
  static LoadResult success(ResultModels models) { return LoadResult(std::move(models)); }
  static LoadResult failure(std::string message) { return LoadResult(std::move(message)); }

  bool ok() const { return std::holds_alternative<ResultModels>(state_); }
  explicit operator bool() const { return ok(); }
  /// Precondition: ok().
  const ResultModels& models() const { return std::get<ResultModels>(state_); }
  ResultModels& models() { return std::get<ResultModels>(state_); }
  /// Empty when ok().
  const std::string& error() const;

 private:
  explicit LoadResult(ResultModels models) : state_(std::move(models)) {}
  explicit LoadResult(std::string message) : state_(std::move(message)) {}

  std::variant<ResultModels, std::string> state_;
};

extern const char* const kResultFileName;  // "result.json"

/// How much of a result a load reads.
enum class LoadDetail {
  /// Everything the file holds.
  Full,
  /// The bottom-up tree's shape only: row ids, types and children, and
  /// what lies outside the trees. Enough to tell whether a stored report
  /// fits the result; rows have no fields and no per-row data, and there is
  /// no call tree. Parts not read are not checked either.
  Shape,
  /// What a report of findings read from a stored report shows: every row of
  /// the bottom-up tree with its fields, instruction mixes and roofline
  /// figures. No machine code, trip-count, dependency, access-pattern,
  /// store or shadow data, and no call tree: a scan on such rows would miss
  /// findings, so they are only for attaching a stored report to.
  Report,
};

/// Loads `directory`/result.json.
LoadResult loadResultDirectory(const std::string& directory, LoadDetail detail = LoadDetail::Full);

/// Loads result text that is not on disk, as if it were `fileName` in
/// `directory`: errors name `fileName`, and the controller reports
/// `directory`.
LoadResult loadResultText(std::string_view json, const std::string& directory,
                          const std::string& fileName = kResultFileName);

}  // namespace host_data
