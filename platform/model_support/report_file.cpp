#include "platform/model_support/report_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/atomic_file.h"

namespace data_models2 {

namespace {

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

bool ReportFile::replace(const std::string& path, std::string_view text) {
  // Callers only ask whether the report was written; the dumper logs that.
  std::string error;
  return foundation::write_file_atomically(path, text, error);
}

}  // namespace data_models2
