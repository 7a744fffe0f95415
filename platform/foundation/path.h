#pragma once
// `path_t`: a file system path, on boost::filesystem.

#include <string>

#include <boost/filesystem/path.hpp>

namespace foundation {

class path_t {
 public:
  path_t() = default;
  path_t(const char* p) : path_(p ? p : "") {}
  path_t(const std::string& p) : path_(p) {}
  path_t(boost::filesystem::path p) : path_(std::move(p)) {}

  std::string str() const { return path_.string(); }
  /// The last component: "libc-2.31.so" of "/lib/libc-2.31.so".
  std::string leaf() const { return path_.filename().string(); }
  path_t parent() const { return path_t(path_.parent_path()); }
  bool empty() const { return path_.empty(); }
  bool exists() const;
  const boost::filesystem::path& native() const { return path_; }

  friend path_t operator/(const path_t& a, const path_t& b) { return path_t(a.path_ / b.path_); }
  friend bool operator==(const path_t& a, const path_t& b) { return a.path_ == b.path_; }

 private:
  boost::filesystem::path path_;
};

}  // namespace foundation
