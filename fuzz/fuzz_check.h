#pragma once
// What the fuzz targets share: a property that fails aborts with a message,
// so that libFuzzer keeps the input that broke it; and a scratch directory
// in memory for the readers that only read files.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace fuzz {

[[noreturn]] inline void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "property broken: %s\n%s\n", what, detail.c_str());
  std::abort();
}

#define FUZZ_CHECK(condition, detail) \
  do {                                \
    if (!(condition)) ::fuzz::fail(#condition, (detail)); \
  } while (false)

/// True when the message names `file` at its start and carries no raw
/// control character (messages go to terminals).
inline bool namesFile(const std::string& message, std::string_view file) {
  if (message.rfind(std::string(file) + ":", 0) != 0) return false;
  for (char c : message) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return false;
  }
  return true;
}

/// A directory of this process's own under /dev/shm (or the temp folder),
/// emptied on every call.
inline std::filesystem::path scratchDir(const char* name) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::path base = fs::exists("/dev/shm", ec) ? fs::path("/dev/shm") : fs::temp_directory_path();
  fs::path dir = base / ("nimbex-fuzz-" + std::string(name) + "-" + std::to_string(::getpid()));
  fs::remove_all(dir, ec);
  fs::create_directories(dir, ec);
  return dir;
}

inline void writeFile(const std::filesystem::path& path, std::string_view data) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(data.data(), static_cast<std::streamsize>(data.size()));
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace fuzz
