#include "platform/foundation/atomic_file.h"
#include "platform/foundation/path.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace foundation {
namespace {

namespace fs = std::filesystem;

class AtomicFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = ::testing::TempDir() + "nimbex_atomic_file_XXXXXX";
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    dir_ = name;
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string target() const { return (dir_ / "report.txt").string(); }

  static std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  /// Names in the directory, hidden ones included: a leftover temporary
  /// shows here.
  std::set<std::string> listing() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_)) names.insert(entry.path().filename().string());
    return names;
  }

  fs::path dir_;
};

TEST_F(AtomicFileTest, CreatesAndReplacesWithNothingLeftBeside) {
  std::string error;
  ASSERT_TRUE(write_file_atomically(target(), "first", error)) << error;
  EXPECT_EQ(contentOf(target()), "first");
  ASSERT_TRUE(write_file_atomically(target(), std::string("sec\0nd", 6), error)) << error;
  EXPECT_EQ(contentOf(target()), std::string("sec\0nd", 6));
  ASSERT_TRUE(write_file_atomically(target(), "", error)) << error;
  EXPECT_EQ(contentOf(target()), "");
  EXPECT_EQ(listing(), std::set<std::string>{"report.txt"});
}

TEST_F(AtomicFileTest, TargetKeepsItsOldContentUntilCommit) {
  std::string error;
  ASSERT_TRUE(write_file_atomically(target(), "old", error));
  {
    atomic_file_t file(target());
    ASSERT_TRUE(file.open(error)) << error;
    file.write("new ");
    file.write("text");
    EXPECT_EQ(contentOf(target()), "old");
    ASSERT_TRUE(file.commit(error)) << error;
  }
  EXPECT_EQ(contentOf(target()), "new text");
  {
    atomic_file_t abandoned(target());
    ASSERT_TRUE(abandoned.open(error));
    abandoned.write("never seen");
  }
  EXPECT_EQ(contentOf(target()), "new text");
  EXPECT_EQ(listing(), std::set<std::string>{"report.txt"});
}

TEST_F(AtomicFileTest, FailuresNameTheFileAndLeaveNoTemporary) {
  fs::create_directory(dir_ / "a directory");
  const struct {
    const char* name;
    std::string path;
  } cases[] = {
      {"directory missing", (dir_ / "missing" / "report.txt").string()},
      {"target is a directory", (dir_ / "a directory").string()},
      {"no file name", dir_.string() + "/"},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_FALSE(write_file_atomically(c.path, "text", error)) << c.name;
    EXPECT_EQ(error.rfind(c.path + ": ", 0), 0u) << c.name << ": " << error;
    EXPECT_EQ(listing(), std::set<std::string>{"a directory"}) << c.name;
    EXPECT_TRUE(fs::is_directory(dir_ / "a directory")) << c.name;
  }
}

TEST_F(AtomicFileTest, CommitWithoutOpenFails) {
  atomic_file_t file(target());
  file.write("ignored");
  std::string error;
  EXPECT_FALSE(file.commit(error));
  EXPECT_EQ(error, target() + ": not open");
  EXPECT_FALSE(fs::exists(target()));
}

TEST_F(AtomicFileTest, ReplacementKeepsTheModeOfTheFileItReplaces) {
  std::string error;
  for (mode_t mode : {0600, 0640, 0755}) {
    ASSERT_TRUE(write_file_atomically(target(), "old", error)) << error;
    ASSERT_EQ(::chmod(target().c_str(), mode), 0);
    ASSERT_TRUE(write_file_atomically(target(), "new", error)) << error;
    struct stat st;
    ASSERT_EQ(::stat(target().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, mode);
  }
}

// A writer killed before its commit leaves its temporary; the next writer of
// the same file removes it once that process is gone, and leaves alone what
// belongs to a live one or to another file.
TEST_F(AtomicFileTest, NextWriterRemovesTemporariesOfDeadWriters) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(0);
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);
  const std::string dead = ".report.txt.tmp-" + std::to_string(child) + "-0";
  const std::string live = ".report.txt.tmp-" + std::to_string(::getpid()) + "-99";
  const std::string other = ".other.txt.tmp-" + std::to_string(child) + "-0";
  for (const std::string& name : {dead, live, other}) std::ofstream((dir_ / name).string()) << "partial";

  std::string error;
  ASSERT_TRUE(write_file_atomically(target(), "whole", error)) << error;
  EXPECT_EQ(listing(), (std::set<std::string>{"report.txt", live, other}));
}

TEST(PathTest, Components) {
  path_t p("/lib/x86_64/libc-2.31.so");
  EXPECT_EQ(p.leaf(), "libc-2.31.so");
  EXPECT_EQ(p.parent().str(), "/lib/x86_64");
  EXPECT_EQ((path_t("/lib") / path_t("a.so")).str(), "/lib/a.so");
  EXPECT_TRUE(path_t(static_cast<const char*>(nullptr)).empty());
}

TEST_F(AtomicFileTest, PathExistsOnlyForWhatIsThere) {
  EXPECT_FALSE(path_t().exists());
  EXPECT_FALSE(path_t(target()).exists());
  std::ofstream(target()) << "x";
  EXPECT_TRUE(path_t(target()).exists());
}

}  // namespace
}  // namespace foundation
