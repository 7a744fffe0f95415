#include "platform/model_support/report_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace data_models2 {

namespace {

constexpr int kCreateAttempts = 16;

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  /// Closes now, so that the error of a delayed write is seen.
  bool close() {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0;
  }

 private:
  int fd_;
};

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// A hidden name beside the target: the rename must not cross file systems,
// and a listing of the result directory should not show it while it exists.
// Process id and counter keep two writers, in this or another process, apart.
std::string temporaryName(const std::string& directory, const std::string& leaf) {
  static std::atomic<unsigned> counter{0};
  return directory + "." + leaf + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
}

}  // namespace

bool ReportFile::read(const std::string& path, std::string& text) {
  if (path.empty()) return false;
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return false;
  struct stat info;
  if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;

  std::string content;
  content.reserve(static_cast<std::size_t>(info.st_size));
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (got == 0) break;
    content.append(buffer, static_cast<std::size_t>(got));
  }
  text = std::move(content);
  return true;
}

bool ReportFile::replace(const std::string& path, std::string_view text) {
  const std::size_t slash = path.find_last_of('/');
  const std::string directory = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string leaf = slash == std::string::npos ? path : path.substr(slash + 1);
  if (leaf.empty()) return false;

  std::string temporary;
  int fd = -1;
  for (int attempt = 0; attempt < kCreateAttempts && fd < 0; ++attempt) {
    temporary = temporaryName(directory, leaf);
    fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) return false;
  }
  if (fd < 0) return false;

  FileDescriptor file(fd);
  // The data must be on disk before the rename is: otherwise a crash could
  // leave the new name on an empty file.
  const bool written = writeAll(file.get(), text) && ::fsync(file.get()) == 0;
  if (!file.close() || !written || ::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }

  // Make the rename itself durable; the report is already complete and in
  // place, so a failure here is not worth failing the call for.
  FileDescriptor parent(::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (parent.get() >= 0) ::fsync(parent.get());
  return true;
}

}  // namespace data_models2
