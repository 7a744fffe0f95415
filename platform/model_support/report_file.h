#pragma once
// Reading and replacing the report file on disk.

#include <functional>
#include <string>
#include <string_view>

namespace data_models2 {

/// The report file as bytes. Replacing it never shows a reader, or a machine
/// that went down halfway, a partly written file (foundation::atomic_file_t):
/// on any failure the old report, if there was one, stays as it was.
class ReportFile {
 public:
  /// The whole content of a regular file. False for a missing file, a
  /// directory, a pipe or a device (a pipe would block the task forever), or
  /// a read error.
  static bool read(const std::string& path, std::string& text);
  /// True when `path` may be replaced by a report: it is missing, empty, or
  /// a report of ours (current or stale). Anything else — a file that can't
  /// be read, a directory, a file of the user's — is never overwritten, and
  /// `reason` says why.
  static bool mayReplace(const std::string& path, std::string& reason);
  /// Writes `text` as the new content of `path`; false when any step fails
  /// or mayReplace refuses (that is logged as a warning).
  static bool replace(const std::string& path, std::string_view text);

  /// Hands `append` to `produce`, which writes the new content through it
  /// piece by piece and answers whether it finished; the file is replaced
  /// only then. Same checks and outcome as replace.
  using append_t = std::function<void(std::string_view)>;
  static bool replace(const std::string& path, const std::function<bool(const append_t& append)>& produce);
  /// Hands the content of a regular file to `consume` piece by piece, in
  /// order, until the end or until `consume` answers false. False for what
  /// read refuses and when `consume` stopped.
  static bool readPieces(const std::string& path, const std::function<bool(std::string_view)>& consume);
  /// The first and the last `bytes` bytes of a regular file (all of it in
  /// both when it is shorter). False for what read refuses.
  static bool readEnds(const std::string& path, std::size_t bytes, std::string& head, std::string& tail);
};

}  // namespace data_models2
