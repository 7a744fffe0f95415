#include "platform/model_support/report_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "platform/foundation/atomic_file.h"

namespace data_models2 {

namespace {

// The root element of docs/issues-xml.md; it follows the XML declaration.
constexpr std::string_view kRootElement = "<issues_report";
constexpr std::size_t kHeadBytes = 512;

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

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

bool ReportFile::mayReplace(const std::string& path, std::string& reason) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) {
    if (errno == ENOENT) return true;
    reason = std::strerror(errno);
    return false;
  }
  if (!S_ISREG(info.st_mode)) {
    reason = S_ISDIR(info.st_mode) ? "is a directory" : "is not a regular file";
    return false;
  }
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) {
    reason = std::strerror(errno);
    return false;
  }
  // An empty file holds nothing; anything else must be a report of ours,
  // stale or not, and show its root element near the top.
  char head[kHeadBytes];
  ssize_t got;
  do {
    got = ::read(file.get(), head, sizeof head);
  } while (got < 0 && errno == EINTR);
  if (got < 0) {
    reason = std::strerror(errno);
    return false;
  }
  if (got == 0 || std::string_view(head, static_cast<std::size_t>(got)).find(kRootElement) != std::string_view::npos) {
    return true;
  }
  reason = "is not a findings report";
  return false;
}

bool ReportFile::replace(const std::string& path, std::string_view text) {
  std::string reason;
  if (!mayReplace(path, reason)) {
    LOG4CPLUS_WARN(log4cplus::Logger::getInstance("nimbex.report"),
                   path << ": " << reason << "; left as it is, the report is not written");
    return false;
  }
  // Callers only ask whether the report was written; the dumper logs that.
  std::string error;
  return foundation::write_file_atomically(path, text, error);
}

}  // namespace data_models2
