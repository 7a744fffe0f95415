#include "platform/configuration/session_storage.h"

#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace configuration {
namespace {

namespace fs = std::filesystem;
using foundation::variant_t;

class SessionStorageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("nimbex_session_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string dir() const { return dir_.string(); }
  void writeFile(const std::string& text) { std::ofstream(dir_ / ISessionStorage::file_name) << text; }
  std::string readFile() const {
    std::ifstream in(dir_ / ISessionStorage::file_name);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }

  fs::path dir_;
};

TEST_F(SessionStorageTest, EveryKindOfValueReadsBackWithItsKind) {
  const std::vector<std::pair<std::string, variant_t>> values = {
      {"i8", variant_t(std::int8_t{-128})},
      {"u8", variant_t(std::uint8_t{255})},
      {"i16", variant_t(std::int16_t{-32768})},
      {"u16", variant_t(std::uint16_t{65535})},
      {"i32", variant_t(std::numeric_limits<std::int32_t>::min())},
      {"u32", variant_t(std::numeric_limits<std::uint32_t>::max())},
      {"i64", variant_t(std::numeric_limits<std::int64_t>::min())},
      {"u64", variant_t(std::numeric_limits<std::uint64_t>::max())},
      {"f32", variant_t(0.1f)},
      {"f64", variant_t(0.1)},
      {"f64 whole", variant_t(12.0)},
      {"f64 tiny", variant_t(4.9e-324)},
      {"f64 huge", variant_t(-1.7976931348623157e308)},
      {"f32 whole", variant_t(3.0f)},
      {"bool", variant_t(true)},
      {"text", variant_t("quote \" backslash \\ newline \n tab \t bell \x07 \xc3\xa9")},
      {"empty text", variant_t("")},
      {"key \"with\" quotes", variant_t(std::int32_t{7})},
  };
  auto writer = ISessionStorage::create(dir());
  ASSERT_TRUE(writer);
  for (const auto& [key, value] : values) ASSERT_TRUE(writer->set(key, value)) << key;
  ASSERT_TRUE(writer->save());

  auto reader = ISessionStorage::create(dir());
  ASSERT_TRUE(reader);
  for (const auto& [key, value] : values) {
    variant_t read(std::int32_t{-1});
    ASSERT_TRUE(reader->find(key, read)) << key;
    EXPECT_EQ(read.type(), value.type()) << key;
    EXPECT_EQ(read, value) << key << ": " << read.to_string() << " vs " << value.to_string();
  }
}

TEST_F(SessionStorageTest, ValuesTheFileCannotHoldAreRefused) {
  auto s = ISessionStorage::create(dir());
  const std::vector<std::pair<std::string, variant_t>> refused = {
      {"empty", variant_t()},
      {"nan", variant_t(std::nan(""))},
      {"infinite", variant_t(-std::numeric_limits<double>::infinity())},
      {"infinite f32", variant_t(std::numeric_limits<float>::infinity())},
      {"not utf-8", variant_t("\xff\xfe")},
      {"\xc3", variant_t(1)},
  };
  for (const auto& [key, value] : refused) {
    EXPECT_FALSE(s->set(key, value)) << key;
    variant_t v;
    EXPECT_FALSE(s->find(key, v)) << key;
  }
}

TEST_F(SessionStorageTest, TheFileHasTheDocumentedLayout) {
  auto s = ISessionStorage::create(dir());
  s->set("totalElapsedTime", variant_t(12.5));
  s->set("issues_cache_actual", variant_t(true));
  ASSERT_TRUE(s->save());
  s->set("runs", variant_t(std::uint32_t{3}));
  s->set("ratio", variant_t(2.0));
  ASSERT_TRUE(s->save());
  EXPECT_EQ(readFile(),
            "{\n"
            "  \"issues_cache_actual\": true,\n"
            "  \"ratio\": 2.0,\n"
            "  \"runs\": {\"u32\": 3},\n"
            "  \"totalElapsedTime\": 12.5\n"
            "}\n");
  EXPECT_EQ(s->path(), (dir_ / "session.json").string());
}

TEST_F(SessionStorageTest, StoragesOnOneDirectoryKeepEachOthersKeys) {
  auto a = ISessionStorage::create(dir());
  auto b = ISessionStorage::create(dir());
  a->set("fromA", variant_t(1));
  a->set("shared", variant_t("a"));
  b->set("fromB", variant_t(2));
  b->set("shared", variant_t("b"));
  ASSERT_TRUE(a->save());
  ASSERT_TRUE(b->save());

  auto check = ISessionStorage::create(dir());
  EXPECT_EQ(check->get("fromA"), variant_t(1));
  EXPECT_EQ(check->get("fromB"), variant_t(2));
  EXPECT_EQ(check->get("shared"), variant_t("b"));  // last save wins
  // b's save brought in what a had saved.
  EXPECT_EQ(b->get("fromA"), variant_t(1));

  // An erase travels like a set, and leaves the keys it did not touch.
  a->erase("fromB");
  ASSERT_TRUE(a->save());
  check = ISessionStorage::create(dir());
  variant_t gone;
  EXPECT_FALSE(check->find("fromB", gone));
  EXPECT_EQ(check->get("fromA"), variant_t(1));
}

TEST_F(SessionStorageTest, ConcurrentWritersLoseNoKey) {
  // Each save is a read-modify-write of the whole file; without the lock on
  // the directory, writers racing here drop each other's keys.
  constexpr int writers = 4;
  constexpr int rounds = 25;
  std::vector<std::thread> threads;
  for (int w = 0; w < writers; ++w) {
    threads.emplace_back([this, w] {
      for (int r = 0; r < rounds; ++r) {
        auto s = ISessionStorage::create(dir());
        s->set("w" + std::to_string(w) + "r" + std::to_string(r), variant_t(r));
        EXPECT_TRUE(s->save());
      }
    });
  }
  for (std::thread& t : threads) t.join();
  auto check = ISessionStorage::create(dir());
  for (int w = 0; w < writers; ++w) {
    for (int r = 0; r < rounds; ++r) {
      const std::string key = "w" + std::to_string(w) + "r" + std::to_string(r);
      EXPECT_EQ(check->get(key), variant_t(r)) << key;
    }
  }
}

// A file we cannot read may hold what the host keeps there: it reads as
// empty and is never replaced. An empty file holds nothing and is.
TEST_F(SessionStorageTest, ADamagedFileIsReadAsEmptyAndNeverReplaced) {
  const char* damaged[] = {
      "not json",
      "{\"k\": tr",
      "[]",
      "null",
      "42",
  };
  for (const char* text : damaged) {
    SCOPED_TRACE(text);
    writeFile(text);
    auto s = ISessionStorage::create(dir());
    ASSERT_TRUE(s);
    EXPECT_EQ(s->get("k", variant_t(5)), variant_t(5));
    s->set("k", variant_t(false));
    EXPECT_FALSE(s->save());
    EXPECT_EQ(readFile(), text);
  }
  writeFile("");
  auto s = ISessionStorage::create(dir());
  s->set("k", variant_t(false));
  ASSERT_TRUE(s->save());
  EXPECT_EQ(ISessionStorage::create(dir())->get("k"), variant_t(false));
}

TEST_F(SessionStorageTest, ADirectoryInPlaceOfTheFileIsLeftAlone) {
  fs::create_directories(dir_ / ISessionStorage::file_name);
  auto s = ISessionStorage::create(dir());
  ASSERT_TRUE(s);
  s->set("k", variant_t(1));
  EXPECT_FALSE(s->save());
  EXPECT_TRUE(fs::is_directory(dir_ / ISessionStorage::file_name));
}

TEST_F(SessionStorageTest, EntriesThatCannotBeReadAreSkippedAndTheRestKept) {
  writeFile(
      "{"
      "\"good\": {\"i32\": 3},"
      "\"plain\": 4,"
      "\"too big for i8\": {\"i8\": 300},"
      "\"negative u32\": {\"u32\": -1},"
      "\"u64 in i64\": {\"i64\": 18446744073709551615},"
      "\"beyond i64\": 18446744073709551615,"
      "\"unknown kind\": {\"decimal\": 1},"
      "\"too big for f32\": {\"f32\": 1e39},"
      "\"two kinds\": {\"i32\": 1, \"i64\": 1},"
      "\"wrong payload\": {\"bool\": \"yes\"},"
      "\"null\": null,"
      "\"list\": [1]}");
  auto s = ISessionStorage::create(dir());
  ASSERT_TRUE(s);
  EXPECT_EQ(s->get("good"), variant_t(std::int32_t{3}));
  EXPECT_EQ(s->get("plain"), variant_t(std::int64_t{4}));
  for (const char* key : {"too big for i8", "too big for f32", "negative u32", "u64 in i64", "beyond i64", "unknown kind", "two kinds",
                          "wrong payload", "null", "list"}) {
    variant_t v;
    EXPECT_FALSE(s->find(key, v)) << key;
  }
}

TEST_F(SessionStorageTest, OnlyAnExistingDirectoryGivesAStorage) {
  std::ofstream(dir_ / "plain") << "x";
  for (const std::string& path : {std::string(), (dir_ / "missing").string(), (dir_ / "plain").string()}) {
    EXPECT_FALSE(ISessionStorage::create(path)) << path;
  }
}

TEST_F(SessionStorageTest, ChangesStayInTheObjectUntilSaved) {
  auto s = ISessionStorage::create(dir());
  s->set("k", variant_t(1));
  EXPECT_EQ(s->get("k"), variant_t(1));
  EXPECT_TRUE(ISessionStorage::create(dir())->get("k").empty());
  EXPECT_FALSE(fs::exists(dir_ / "session.json"));
}

}  // namespace
}  // namespace configuration
