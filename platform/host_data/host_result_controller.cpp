#include "platform/host_data/host_result_controller.h"

#include <filesystem>
#include <system_error>

#include "platform/host_data/result_loader.h"

namespace host_data {

namespace fs = std::filesystem;

namespace {

/// A result directory on disk that can be removed.
class HostExperiment : public data_abstractions2::IExperiment {
 public:
  explicit HostExperiment(std::string directory) : directory_(std::move(directory)) {}

  std::string getDirectory() const override { return directory_; }

  bool deleteExperiment() override {
    if (directory_.empty()) return false;
    std::error_code ec;
    fs::remove_all(directory_, ec);
    // Judge by what is left rather than by the error code: a directory that
    // another process removed meanwhile is just as gone.
    std::error_code existsError;
    if (fs::exists(directory_, existsError) || existsError) return false;
    directory_.clear();
    return true;
  }

 private:
  std::string directory_;
};

/// `directory` made absolute and without a trailing separator, so that its
/// parent is the directory that holds it.
fs::path normalized(const std::string& directory) {
  std::error_code ec;
  fs::path path = fs::absolute(fs::path(directory), ec);
  if (ec) return {};
  path = path.lexically_normal();
  if (!path.has_filename() && path.has_parent_path() && path != path.root_path()) path = path.parent_path();
  return path;
}

}  // namespace

std::string HostResultController::getExperimentsDir() const {
  if (contents_.directory.empty()) return {};
  const fs::path path = normalized(contents_.directory);
  if (path.empty() || path == path.root_path()) return {};
  return path.parent_path().string();
}

bool HostResultController::makeSnapshot(const std::string& name, int /*target*/, int /*flags*/) {
  // The name becomes one directory beside the result, never a path.
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) return false;
  const std::string experiments = getExperimentsDir();
  if (experiments.empty()) return false;

  std::error_code ec;
  const fs::path source = normalized(contents_.directory);
  if (!fs::is_directory(source, ec)) return false;
  const fs::path snapshot = fs::path(experiments) / name;
  if (fs::exists(snapshot, ec) || ec) return false;

  fs::copy(source, snapshot, fs::copy_options::recursive, ec);
  if (ec) {
    // A half copy would pass for a result; take it away again.
    std::error_code ignored;
    fs::remove_all(snapshot, ignored);
    return false;
  }
  return true;
}

foundation::sptr_t<data_abstractions2::IResultController> HostResultController::createResultController() const {
  return foundation::pool_allocate<HostResultController, data_abstractions2::IResultController>(Contents{});
}

bool HostResultController::open(const std::string& directory) {
  std::error_code ec;
  if (directory.empty() || !fs::is_directory(directory, ec)) return false;
  contents_ = Contents{};
  contents_.directory = directory;
  contents_.resultFile = (fs::path(directory) / kResultFileName).string();
  experiment_ = foundation::pool_allocate<HostExperiment, data_abstractions2::IExperiment>(directory);
  return true;
}

}  // namespace host_data
