#pragma once
// Replacing a file so that readers see the old content or the whole new one.

#include <string>
#include <string_view>

namespace foundation {

/// A file written as a whole or not at all. The text goes to a hidden
/// temporary file beside the target (".<name>.tmp-<pid>-<n>": the rename must
/// not cross file systems, and a listing of the directory should not show a
/// half-written file); `commit` flushes it to disk, renames it over the target
/// in one step and flushes the directory so that the rename itself survives a
/// crash. A failed step, or destruction before `commit`, removes the temporary
/// file and leaves the old target as it was.
///
/// The new file keeps the mode of the file it replaces (0600 stays 0600),
/// and its owner and group where the writer may give them; a new file gets
/// the default mode. Temporaries of the same target left by writers that
/// were killed before their commit are removed when the next one opens.
///
/// Errors name the target. The target must be a regular file or missing: a
/// directory is refused by the rename, and a pipe or device would be replaced
/// by a file rather than written to. One object is for one thread.
class atomic_file_t {
 public:
  explicit atomic_file_t(std::string path);
  atomic_file_t(const atomic_file_t&) = delete;
  atomic_file_t& operator=(const atomic_file_t&) = delete;
  ~atomic_file_t();

  /// Creates the temporary file; an earlier one not committed is dropped.
  bool open(std::string& error);
  /// Appends `text`. A failure is remembered and reported by `commit`.
  void write(std::string_view text);
  /// Makes the written text the target's content.
  bool commit(std::string& error);

  const std::string& path() const { return path_; }

 private:
  void discard();
  void keepOwnerAndMode();
  bool fail(const char* what, int error_number, std::string& error);

  std::string path_;
  std::string temporary_;
  int fd_ = -1;
  /// The first write error, 0 while all went well.
  int errno_ = 0;
};

/// Replaces the content of `path` with `content` through an atomic_file_t.
/// False with `error` naming the file when any step fails.
bool write_file_atomically(const std::string& path, std::string_view content, std::string& error);

}  // namespace foundation
