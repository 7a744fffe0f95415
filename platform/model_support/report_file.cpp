#include "platform/model_support/report_file.h"

#include <cerrno>
#include <algorithm>
#include <cstring>
#include <memory>

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
// Reports of large results run to gigabytes; they are read in pieces.
constexpr std::size_t kPieceBytes = 1 << 20;

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
  std::string content;
  if (!readPieces(path, [&content](std::string_view piece) {
        content += piece;
        return true;
      })) {
    return false;
  }
  text = std::move(content);
  return true;
}

bool ReportFile::readPieces(const std::string& path, const std::function<bool(std::string_view)>& consume) {
  if (path.empty()) return false;
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return false;
  struct stat info;
  if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;

  std::unique_ptr<char[]> buffer(new char[kPieceBytes]);
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer.get(), kPieceBytes);
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (got == 0) return true;
    if (!consume(std::string_view(buffer.get(), static_cast<std::size_t>(got)))) return false;
  }
}

bool ReportFile::readEnds(const std::string& path, std::size_t bytes, std::string& head, std::string& tail) {
  if (path.empty()) return false;
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return false;
  struct stat info;
  if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  const auto size = static_cast<std::size_t>(info.st_size);
  auto readAt = [&file](std::size_t offset, std::size_t length, std::string& out) {
    out.resize(length);
    std::size_t done = 0;
    while (done < length) {
      const ssize_t got = ::pread(file.get(), out.data() + done, length - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
    }
    out.resize(done);
    return done == length;
  };
  const std::size_t length = std::min(bytes, size);
  return readAt(0, length, head) && readAt(size - length, length, tail);
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
  return replace(path, [text](const append_t& append) {
    append(text);
    return true;
  });
}

bool ReportFile::replace(const std::string& path, const std::function<bool(const append_t& append)>& produce) {
  std::string reason;
  if (!mayReplace(path, reason)) {
    LOG4CPLUS_WARN(log4cplus::Logger::getInstance("nimbex.report"),
                   path << ": " << reason << "; left as it is, the report is not written");
    return false;
  }
  // Callers only ask whether the report was written; the dumper logs that.
  std::string error;
  foundation::atomic_file_t file(path);
  if (!file.open(error)) return false;
  // Left uncommitted, the temporary file goes with the writer.
  if (!produce([&file](std::string_view piece) { file.write(piece); })) return false;
  return file.commit(error);
}

}  // namespace data_models2
