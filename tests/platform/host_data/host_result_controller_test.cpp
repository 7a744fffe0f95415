#include "platform/host_data/host_result_controller.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

using host_data::HostResultController;

class HostResultControllerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    root = fs::temp_directory_path() /
           ("host_result_controller_test-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root);
    result = root / "proj" / "run1";
    fs::create_directories(result / "nested");
    std::ofstream(result / "result.json") << "{}";
    std::ofstream(result / "nested" / "data") << "payload";
  }
  void TearDown() override {
    std::error_code ec;
    fs::remove_all(root, ec);
  }

  foundation::sptr_t<HostResultController> controllerOn(const std::string& directory) const {
    HostResultController::Contents contents;
    contents.directory = directory;
    return foundation::pool_allocate<HostResultController>(contents);
  }

  fs::path root, result;
};

TEST_F(HostResultControllerTest, ExperimentsDirectoryIsTheParentOfTheResult) {
  EXPECT_EQ(controllerOn(result.string())->getExperimentsDir(), (root / "proj").string());
  EXPECT_EQ(controllerOn(result.string() + "/")->getExperimentsDir(), (root / "proj").string());
  EXPECT_EQ(controllerOn("")->getExperimentsDir(), "");
  EXPECT_EQ(controllerOn("/")->getExperimentsDir(), "");
}

TEST_F(HostResultControllerTest, SnapshotIsACopyBesideTheResult) {
  auto controller = controllerOn(result.string());
  ASSERT_TRUE(controller->makeSnapshot("copy", 0, 0));
  std::ifstream copied(root / "proj" / "copy" / "nested" / "data");
  std::string text;
  std::getline(copied, text);
  EXPECT_EQ(text, "payload");
  EXPECT_TRUE(fs::exists(result / "nested" / "data"));

  struct Case {
    const char* name;
    const char* snapshot;
  };
  const Case refused[] = {
      {"an experiment of that name exists", "copy"},
      {"the result itself", "run1"},
      {"a path, not a name", "a/b"},
      {"the parent", ".."},
      {"no name", ""},
  };
  for (const Case& c : refused) {
    SCOPED_TRACE(c.name);
    EXPECT_FALSE(controller->makeSnapshot(c.snapshot, 0, 0));
  }
  EXPECT_FALSE(fs::exists(root / "proj" / "a"));
  EXPECT_FALSE(controllerOn((root / "missing").string())->makeSnapshot("x", 0, 0));
}

TEST_F(HostResultControllerTest, PrivateControllerDeletesTheExperimentItOpened) {
  auto controller = controllerOn(result.string());
  ASSERT_TRUE(controller->makeSnapshot("tmp", 0, 0));

  auto other = controller->createResultController();
  ASSERT_TRUE(other);
  EXPECT_FALSE(other->getExperiment());
  EXPECT_FALSE(other->open((root / "proj" / "absent").string()));
  EXPECT_FALSE(other->getExperiment());

  ASSERT_TRUE(other->open((root / "proj" / "tmp").string()));
  EXPECT_EQ(other->getResultDir(0), (root / "proj" / "tmp").string());
  auto experiment = other->getExperiment();
  ASSERT_TRUE(experiment);
  EXPECT_TRUE(experiment->deleteExperiment());
  EXPECT_FALSE(fs::exists(root / "proj" / "tmp"));
  // The original result is untouched, and a second delete has nothing to do.
  EXPECT_TRUE(fs::exists(result / "result.json"));
  EXPECT_FALSE(experiment->deleteExperiment());
  // The loaded result's own controller never hands out its experiment.
  EXPECT_FALSE(controller->getExperiment());
}

}  // namespace
