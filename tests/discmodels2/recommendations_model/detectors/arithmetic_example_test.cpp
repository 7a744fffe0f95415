// The bundled arithmetic example, loaded from disk and decoded as nimbex-cl
// does: each arithmetic detector must find its issue on the loop the example
// was written for, and nothing on the loop that already calls libmvec.

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/data_provider.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_div.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_floating_point.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_fma.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_reciprocal.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"

namespace {

using namespace data_abstractions2;
using namespace data_models2::issues;
using system_info::SystemInfo;

TEST(ArithmeticExample, EachDetectorFiresOnItsLoop) {
  const char* root = std::getenv("NIMBEX_SOURCE_DIR");
  host_data::LoadResult loaded = host_data::loadResultDirectory(std::string(root ? root : ".") + "/examples/arithmetic");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  const auto& models = loaded.models();
  auto provider = std::make_shared<data_models2::DataProvider>(
      models.surveyModel, models.resultController,
      foundation::pool_allocate<host_data::HostSourceManager, ISourceManager>(models.resultController->getCodeBits()));
  const auto isa = static_cast<SystemInfo::IsaExtensions>(models.resultController->getIsaExtensions(0));
  const auto cpu = static_cast<SystemInfo::CPUType>(models.resultController->getCpuType(0));
  const std::vector<std::shared_ptr<IssueDetector>> detectors = {
      std::make_shared<IssueDIV>(provider),
      std::make_shared<IssueFMA>(provider, isa, models.surveyModel),
      std::make_shared<IssueReciprocal>(provider, isa, cpu, models.surveyModel),
      std::make_shared<IssueFloatingPoint>(provider),
  };

  // Bottom-up loop row -> issue ids, in detector order.
  const std::map<std::uint64_t, std::vector<std::string>> expected = {
      {2, {"div_issue", "fma_issue", "issue_reciprocals"}},  // computeForces: SSE4.2 divps, sqrtps, mulps+addps
      {4, {"libm_function_issue"}},                          // gaussianWeights: GCC, scalar exp
      {6, {"libm_function_issue"}},                          // phaseShift: Vorex, -Ob0, precise model, sin
      {8, {}},                                               // dampWaves: libmvec's exp already
  };
  const sptr_t<IDataset> bottomUp = models.surveyModel->getDataset(BottomUp);
  for (const auto& [id, ids] : expected) {
    SCOPED_TRACE("row " + std::to_string(id));
    const row_t row = bottomUp->getRow(id);
    ASSERT_TRUE(row);
    provider->fillCommonData(row);
    auto found = std::make_shared<std::vector<sptr_t<IIssueEx>>>();
    for (const auto& detector : detectors) detector->detect(row, found);
    std::vector<std::string> got;
    for (const auto& issue : *found) got.push_back(issue->getStringId());
    EXPECT_EQ(got, ids);
  }
}

}  // namespace
