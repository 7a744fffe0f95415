#include "platform/foundation/atomic_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace foundation {

namespace {

// Names are unique per process and object; the attempts only guard against a
// leftover of a crashed process that had the same pid.
constexpr int kCreateAttempts = 16;

/// "dir/" and "name" of "dir/name"; the directory is empty for a bare name.
void splitPath(const std::string& path, std::string& directory, std::string& leaf) {
  const std::size_t slash = path.find_last_of('/');
  directory = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  leaf = slash == std::string::npos ? path : path.substr(slash + 1);
}

// The pid keeps writers of different processes apart, the counter two
// writers of one process (two tasks may write the same result at once).
std::string temporaryName(const std::string& directory, const std::string& leaf) {
  static std::atomic<unsigned> counter{0};
  return directory + "." + leaf + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
}

// True when `text` is a decimal pid of a process that is gone. A process
// we may not signal (EPERM) still exists, so its file stays.
bool isDeadPid(std::string_view text) {
  if (text.empty() || text.size() > 9) return false;
  long pid = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    pid = pid * 10 + (c - '0');
  }
  return pid > 0 && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

// Removes the temporaries of `leaf` that writers killed before their commit
// left behind: ".<leaf>.tmp-<pid>-<n>" whose process is gone. Those of live
// writers, ours included, are theirs to finish.
void removeStaleTemporaries(const std::string& directory, const std::string& leaf) {
  DIR* dir = ::opendir(directory.empty() ? "." : directory.c_str());
  if (!dir) return;
  const std::string prefix = "." + leaf + ".tmp-";
  while (const dirent* entry = ::readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name.size() <= prefix.size() || name.substr(0, prefix.size()) != prefix) continue;
    const std::string_view rest = name.substr(prefix.size());
    const std::size_t dash = rest.find('-');
    if (dash == std::string_view::npos || !isDeadPid(rest.substr(0, dash))) continue;
    ::unlink((directory + std::string(name)).c_str());
  }
  ::closedir(dir);
}

// Makes a finished rename durable. The new file is complete and in place by
// now, so a failure here is not worth failing the write for.
void syncDirectory(const std::string& directory) {
  const int fd = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

}  // namespace

atomic_file_t::atomic_file_t(std::string path) : path_(std::move(path)) {}

atomic_file_t::~atomic_file_t() { discard(); }

void atomic_file_t::discard() {
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
  }
  // Only a name this object created: after a failed O_EXCL it may be another
  // writer's file.
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

bool atomic_file_t::fail(const char* what, int error_number, std::string& error) {
  error = path_ + ": " + what + ": " + std::strerror(error_number);
  discard();
  return false;
}

bool atomic_file_t::open(std::string& error) {
  discard();
  errno_ = 0;
  std::string directory, leaf;
  splitPath(path_, directory, leaf);
  if (leaf.empty()) {
    error = path_ + ": not a file name";
    return false;
  }
  removeStaleTemporaries(directory, leaf);
  int lastError = EEXIST;
  for (int attempt = 0; attempt < kCreateAttempts && lastError == EEXIST; ++attempt) {
    const std::string name = temporaryName(directory, leaf);
    fd_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd_ >= 0) {
      temporary_ = name;
      keepOwnerAndMode();
      return true;
    }
    lastError = errno;
  }
  return fail("cannot create a temporary file beside it", lastError, error);
}

void atomic_file_t::keepOwnerAndMode() {
  struct stat target;
  if (::stat(path_.c_str(), &target) != 0 || !S_ISREG(target.st_mode)) return;
  // The owner first: changing it may clear set-id bits that the mode then
  // restores. Only root may give a file away; others keep their own.
  if (::fchown(fd_, target.st_uid, target.st_gid) != 0) {
    // Not ours to give: the file becomes the writer's, with the old mode.
  }
  ::fchmod(fd_, target.st_mode & 07777);
}

void atomic_file_t::write(std::string_view text) {
  if (fd_ < 0 || errno_ != 0) return;
  while (!text.empty()) {
    const ssize_t written = ::write(fd_, text.data(), text.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      errno_ = errno;
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

bool atomic_file_t::commit(std::string& error) {
  if (fd_ < 0) {
    error = path_ + ": not open";
    return false;
  }
  // The data must be on disk before the rename is: otherwise a crash could
  // leave the target's name on an empty file.
  if (errno_ == 0 && ::fsync(fd_) != 0) errno_ = errno;
  // Closing now, not in discard, is where a delayed write error shows.
  const int fd = fd_;
  fd_ = -1;
  if (::close(fd) != 0 && errno_ == 0) errno_ = errno;
  if (errno_ != 0) return fail("write failed", errno_, error);
  if (::rename(temporary_.c_str(), path_.c_str()) != 0) return fail("cannot replace", errno, error);
  temporary_.clear();
  std::string directory, leaf;
  splitPath(path_, directory, leaf);
  syncDirectory(directory);
  return true;
}

bool write_file_atomically(const std::string& path, std::string_view content, std::string& error) {
  atomic_file_t file(path);
  if (!file.open(error)) return false;
  file.write(content);
  return file.commit(error);
}

}  // namespace foundation
