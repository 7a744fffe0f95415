#include "platform/foundation/path.h"

#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

namespace foundation {
namespace {

TEST(PathTest, Components) {
  path_t p("/lib/x86_64/libc-2.31.so");
  EXPECT_EQ(p.leaf(), "libc-2.31.so");
  EXPECT_EQ(p.parent().str(), "/lib/x86_64");
  EXPECT_EQ((path_t("/lib") / path_t("a.so")).str(), "/lib/a.so");
  EXPECT_TRUE(path_t(static_cast<const char*>(nullptr)).empty());
}

TEST(PathTest, ExistsAnswersFalseForMissingAndEmpty) {
  EXPECT_FALSE(path_t().exists());
  EXPECT_FALSE(path_t("/nonexistent/dir/file").exists());
  const std::string name = ::testing::TempDir() + "nimbex_path_test.txt";
  { std::ofstream(name) << "x"; }
  EXPECT_TRUE(path_t(name).exists());
  std::remove(name.c_str());
}

}  // namespace
}  // namespace foundation
