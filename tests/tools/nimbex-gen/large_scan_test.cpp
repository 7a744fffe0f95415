// Generated results at the size users bring: 200,000 rows wide, and a chain
// 200,000 rows deep. Nothing on the load, the scan or the teardown may recurse
// with the depth of the tree. NIMBEX_LARGE_ROWS lowers the size for the
// sanitizer build, where the same walk costs several times the memory.

#include <cstdlib>
#include <string>

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "platform/foundation/statistic.h"
#include "platform/host_data/result_loader.h"
#include "tools/nimbex-gen/synthetic_result.h"

namespace {

namespace fs = boost::filesystem;
using namespace data_abstractions2;

std::uint64_t largeRows() {
  const char* text = std::getenv("NIMBEX_LARGE_ROWS");
  return text ? std::strtoull(text, nullptr, 10) : 200000;
}

class LargeScan : public ::testing::TestWithParam<nimbex_gen::Shape> {};

TEST_P(LargeScan, LoadsAndScansWithoutFailure) {
  const fs::path dir = fs::temp_directory_path() / fs::unique_path("nimbex-large-%%%%-%%%%");
  nimbex_gen::Options options;
  options.rows = largeRows();
  options.shape = GetParam();
  options.callTree = GetParam() == nimbex_gen::Shape::Wide;
  options.outputDir = dir.string();
  std::string error;
  ASSERT_TRUE(nimbex_gen::writeSyntheticResult(options, error)) << error;

  {
    host_data::LoadResult loaded = host_data::loadResultDirectory(dir.string());
    ASSERT_TRUE(loaded) << loaded.error();
    auto model = loaded.models().surveyModel;
    auto bottomUp = model->getDataset(BottomUp);
    ASSERT_TRUE(bottomUp);
    EXPECT_EQ(bottomUp->rowCount(), options.rows);

    auto handler =
        foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler, data_models2::ScanIssuesRowVisitHandler>(
            model, loaded.models().resultController, nullptr);
    ASSERT_TRUE(IDatasetHelper::create(bottomUp)->visitRows(nullptr, handler, IDatasetHelper::PostVisit, nullptr));
    handler->writeStatCounters();

    std::uint64_t outer = 0, innermost = 0;
    ASSERT_TRUE(foundation::statistic_t::get().get_value("dm.survey.loops.outer", outer));
    ASSERT_TRUE(foundation::statistic_t::get().get_value("dm.survey.loops.innermost", innermost));
    EXPECT_EQ(outer + innermost, options.rows) << "every row is visited and counted once";
  }
  boost::system::error_code ec;
  fs::remove_all(dir, ec);
}

INSTANTIATE_TEST_SUITE_P(Shapes, LargeScan, ::testing::Values(nimbex_gen::Shape::Wide, nimbex_gen::Shape::Deep),
                         [](const auto& info) { return info.param == nimbex_gen::Shape::Wide ? "Wide" : "Deep"; });

}  // namespace
