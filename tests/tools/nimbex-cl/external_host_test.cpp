// A host with the feature "python_issues" on: its findings come from the real
// nimbex-cl beside it, through a snapshot of the result and issues.xml.

#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/core/issues_task.h"
#include "discmodels2/recommendations_model/core/recommendations_engine.h"
#include "platform/host_data/result_loader.h"
#include "platform/model_support/scheduler.h"

namespace {

namespace fs = boost::filesystem;
using namespace data_abstractions2;

TEST(ExternalHost, FindingsComeFromTheToolBesideTheProgram) {
  // The feature is read once per process: set it before anything asks.
  setenv("NIMBEX_FEATURES", "python_issues", 1);

  const char* source = std::getenv("NIMBEX_SOURCE_DIR");
  ASSERT_NE(source, nullptr);
  const fs::path project = fs::temp_directory_path() / fs::unique_path("nimbex-ext-%%%%-%%%%");
  fs::create_directories(project / "run1");
  fs::copy_file(fs::path(source) / "examples/basic/result.json", project / "run1" / "result.json");

  {
    host_data::LoadResult loaded = host_data::loadResultDirectory((project / "run1").string());
    ASSERT_TRUE(loaded) << loaded.error();
    sptr_t<IRecommendationsModel> model = data_models2::createRecommendationsModel();
    model->init(loaded.models().resultController, "host", nullptr, nullptr, nullptr);
    model->setSurveyModel(loaded.models().surveyModel);

    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    bool verdict = false;
    boost::signals2::scoped_connection c = model->collectionFinished.connect([&](bool ok) {
      std::lock_guard<std::mutex> lock(mutex);
      finished = true;
      verdict = ok;
      done.notify_all();
    });
    ASSERT_TRUE(model->startCollection());
    {
      std::unique_lock<std::mutex> lock(mutex);
      ASSERT_TRUE(done.wait_for(lock, std::chrono::seconds(120), [&] { return finished; }));
    }
    EXPECT_TRUE(verdict);
    const auto* engine = dynamic_cast<const data_models2::RecommendationsEngine*>(model.get());
    ASSERT_NE(engine, nullptr);
    EXPECT_EQ(engine->lastFindingsOrigin(), static_cast<int>(data_models2::IssuesTask::FindingsOrigin::ExternalTool));

    auto bottomUp = loaded.models().surveyModel->getDataset(BottomUp);
    unsigned conversions = 0;
    for (std::uint64_t id = 0; id < 100000 && id <= bottomUp->rowCount() * 1000; ++id) {
      auto row = bottomUp->getRow(id);
      if (!row) continue;
      for (auto it = row->rowIssues(); !it.at_end(); it.next()) {
        conversions += it.current()->getStringId() == "type_conversions_issue" ? 1 : 0;
      }
    }
    EXPECT_GT(conversions, 0u);
    EXPECT_TRUE(fs::exists(project / "run1" / "issues.xml"));
    EXPECT_FALSE(fs::exists(project / data_models2::IssuesTask::kSnapshotName)) << "the snapshot is removed";
    model->closeResult();
  }
  data_models2::IScheduler::get()->shutdown();
  boost::system::error_code ec;
  fs::remove_all(project, ec);
}

}  // namespace
