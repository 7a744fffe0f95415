#include "platform/configuration/message_catalogs.h"
#include "platform/configuration/product_locations.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace configuration {
namespace {

namespace fs = std::filesystem;

/// A scratch folder of catalogue files, and NIMBEX_MESSAGES_DIR cleared
/// around each test.
class MessageCatalogsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() /
            ("nimbex_catalogs_" + std::to_string(::getpid()) + "_" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(root_);
    ::unsetenv(messagesDirVariable);
    resetMessageCatalogsForTesting();
  }
  void TearDown() override {
    ::unsetenv(messagesDirVariable);
    resetMessageCatalogsForTesting();
    fs::remove_all(root_);
  }
  std::string write(const std::string& folder, const std::string& file, const std::string& text) {
    fs::path dir = root_ / folder;
    fs::create_directories(dir);
    std::ofstream(dir / file) << text;
    return dir.string();
  }

  fs::path root_;
};

constexpr const char* kGood = "msgctxt \"k\"\nmsgid \"text of %1\"\nmsgstr \"\"\n";
constexpr const char* kBroken = "msgctxt \"k\"\nmsgid \"text\"\nmsgstr \"unterminated\n";

TEST_F(MessageCatalogsTest, EnvironmentVariableReplacesTheSearch) {
  std::string dir = write("env", "demo.po", kGood);
  ::setenv(messagesDirVariable, dir.c_str(), 1);
  EXPECT_EQ(messageCatalogSearchDirs(), std::vector<std::string>{dir});
  auto catalog = getMessageCatalog("demo");
  ASSERT_TRUE(catalog) << getMessageCatalogError("demo");
  EXPECT_EQ(catalog->message("k").as_ustring({{"%1", "x"}}), "text of x");
  EXPECT_EQ(getMessageCatalogError("demo"), "");
  // Loaded once: the same object comes back.
  EXPECT_EQ(getMessageCatalog("demo"), catalog);
}

TEST_F(MessageCatalogsTest, FailuresGiveNullAndSayWhere) {
  std::string dir = write("env", "broken.po", kBroken);
  ::setenv(messagesDirVariable, dir.c_str(), 1);
  struct Row {
    const char* name;
    std::string error;
  };
  const Row rows[] = {
      {"broken", dir + "/broken.po:3: string has no closing quote"},
      {"absent", "message catalogue 'absent.po' not found in: " + dir},
      {"../env/broken", "message catalogue name '../env/broken' is not a plain file name"},
  };
  for (const Row& r : rows) {
    EXPECT_FALSE(getMessageCatalog(r.name)) << r.name;
    EXPECT_EQ(getMessageCatalogError(r.name), r.error);
  }
}

// A catalogue that loads but says nothing degrades every text to its key:
// it is reported like a broken one, though the (empty) catalogue is kept.
TEST_F(MessageCatalogsTest, ACatalogueWithoutMessagesIsReported) {
  const char* empty[] = {"", "# only a comment\n", "msgid \"\"\nmsgstr \"Language: en\\n\"\n"};
  for (const char* text : empty) {
    std::string dir = write("empty", "demo.po", text);
    std::string error;
    EXPECT_TRUE(loadMessageCatalog("demo", {dir}, error)) << text;
    EXPECT_EQ(error, dir + "/demo.po: the catalogue holds no messages") << text;
  }
}

TEST_F(MessageCatalogsTest, FirstFolderWithTheFileWinsEvenWhenBroken) {
  std::string empty = (root_ / "empty").string();
  std::string broken = write("broken", "demo.po", kBroken);
  std::string good = write("good", "demo.po", kGood);
  std::string error;
  EXPECT_TRUE(loadMessageCatalog("demo", {empty, good, broken}, error));
  EXPECT_EQ(error, "");
  // A broken copy is reported, not skipped for a later good one.
  EXPECT_FALSE(loadMessageCatalog("demo", {broken, good}, error));
  EXPECT_EQ(error, broken + "/demo.po:3: string has no closing quote");
}

TEST_F(MessageCatalogsTest, DefaultSearchStartsBesideTheProgram) {
  std::vector<std::string> dirs = messageCatalogSearchDirs();
  fs::path exeDir = fs::read_symlink("/proc/self/exe").parent_path();
  ASSERT_GE(dirs.size(), 3u);
  EXPECT_EQ(dirs[0], (exeDir / ".." / "share" / "nimbex" / "messages").lexically_normal().string());
  EXPECT_EQ(dirs[1], (exeDir / "messages").string());
  EXPECT_EQ(fs::path(dirs.back()).filename(), "messages");
}

TEST_F(MessageCatalogsTest, ShippedCatalogueLoadsFromTheTree) {
  auto catalog = getMessageCatalog("data_models.recommendations");
  ASSERT_TRUE(catalog) << getMessageCatalogError("data_models.recommendations");
  EXPECT_TRUE(catalog->has_message("type_conversions_issue_title"));
}

std::vector<std::string> featuresOf(const char* list) {
  std::vector<std::string> names;
  for (auto it = IProductLocations::create(list)->features(); !it.at_end(); it.next()) names.push_back(it.current());
  return names;
}

TEST(ProductLocations, FeatureListsParse) {
  using names = std::vector<std::string>;
  struct Case {
    const char* list;
    names expected;
  };
  const Case cases[] = {
      {nullptr, {}},
      {"", {}},
      {"python_issues", {"python_issues"}},
      {"python_issues,shadow_model", {"python_issues", "shadow_model"}},
      {" python_issues ,\tshadow_model\t", {"python_issues", "shadow_model"}},
      {",,python_issues,, ,shadow_model,", {"python_issues", "shadow_model"}},
      {"shadow_model,shadow_model", {"shadow_model"}},
      {"two words", {"two words"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(featuresOf(c.list), c.expected) << (c.list ? c.list : "(null)");
  }
}

TEST(ProductLocations, HasFeatureComparesWholeNamesExactly) {
  auto p = IProductLocations::create("python_issues");
  EXPECT_TRUE(p->hasFeature("python_issues"));
  for (const char* other : {"Python_Issues", "python", "python_issues2", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(p->hasFeature(other)) << (other ? other : "(null)");
  }
}

TEST(ProductLocations, TheProcessWideObjectReadsTheEnvironmentOnce) {
  // The only test in this program that calls get(): the first call fixes
  // the answer for the process.
  ::setenv(IProductLocations::features_variable, "shadow_model", 1);
  auto p = IProductLocations::get();
  ::setenv(IProductLocations::features_variable, "python_issues", 1);
  EXPECT_TRUE(IProductLocations::get()->hasFeature("shadow_model"));
  EXPECT_FALSE(IProductLocations::get()->hasFeature("python_issues"));
  EXPECT_EQ(p.get(), IProductLocations::get().get());
  ::unsetenv(IProductLocations::features_variable);
}

}  // namespace
}  // namespace configuration
