// The bundled example results, loaded from disk as nimbex-cl loads them:
// scanned whole, each loop an example was written for carries its issue; and
// under the arithmetic detectors alone, the arithmetic example finds each
// issue on its loop and nothing on the loop that already calls libmvec.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_div.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_floating_point.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_fma.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_reciprocal.h"
#include "platform/configuration/product_locations.h"
#include "platform/host_data/host_source_manager.h"
#include "platform/host_data/result_loader.h"

namespace {

using namespace data_abstractions2;
using namespace data_models2::issues;
using system_info::SystemInfo;

struct Expected {
  const char* example;
  std::uint64_t row;  // bottom-up row id
  const char* issue;
  const char* why;
  bool shadowModel = false;  // only with the feature "shadow_model"
};

const Expected kExpected[] = {
    {"basic", 4001, "need_for_simd_issue", "prolongate: outer loop, 15541, a vectorized inner loop of 3 iterations"},
    {"basic", 4001, "compiler_diag_issue_15541", "prolongate: the compiler's own verdict"},
    {"basic", 4002, "cdi_issue", "prolongate's inner loop guards a dependency it doesn't need"},
    {"basic", 4011, "vectorizability_issue", "checksum: GNU -O2, scalar, a mix worth vectorizing"},
    {"basic", 8, "proven_dependency_issue", "normSum: 15344 and the analysis found a dependency"},
    {"basic", 8, "compiler_diag_issue_15344", "normSum: the compiler's own verdict"},
    {"basic", 4021, "assumed_dependency_issue", "histogram: 15344, and the analysis found only a reduction"},
    {"basic", 4031, "compiler_diag_issue_15535", "classify: a switch, a number without texts of its own"},
    {"basic", 3041, "compiler_diag_issue_15335", "applyBoundary: judged inefficient"},
    {"basic", 5001, "user_functions_prevent_vectorization_issue", "assembleMatrix: a call keeps it scalar"},
    {"basic", 5011, "serialized_user_function_issue", "heatFlux: vectorized, a plain call per lane"},
    {"basic", 5011, "vector_function_attr_issue", "heatFlux: its callee's variant is built for AVX-512"},
    {"basic", 5031, "omp_prevents_vect_issue", "exchangeHalos: asks the runtime for the thread number"},
    {"basic", 5041, "system_functions_issue", "monitor: logs through fprintf"},
    {"basic", 5041, "indirect_call_issue", "monitor: calls through a pointer"},
    {"basic", 5050, "issue_stl_algorithms", "std::sort worth a parallel policy"},
    {"basic", 3051, "inefficient_MAP_issue", "cellFlux: half its accesses walk an array of structures"},
    {"basic", 3063, "check_access_patterns_issue", "packHalo: masked stores and no stride data"},
    {"basic", 3, "gather_scatter_issue", "relax: gathers one member of an array of structures"},
    {"basic", 3, "issue_excessive_caching", "relax: its output evicts lines it never reads again"},
    {"basic", 3011, "loop_misalignment_issue", "residual: a small body across a 32-byte block"},
    {"basic", 6001, "registers_pressure_issue", "energy: twenty accumulators in sixteen registers"},
    {"basic", 3, "peel_remainder_issue", "relax: time in the peeled and remainder parts"},
    {"basic", 3, "zmm_shadow_issue", "relax: 512-bit vectors would gain", true},
};

host_data::LoadResult loadExample(const std::string& name) {
  const char* root = std::getenv("NIMBEX_SOURCE_DIR");
  return host_data::loadResultDirectory(std::string(root ? root : ".") + "/examples/" + name);
}

sptr_t<ISourceManager> sourcesOf(const host_data::ResultModels& models) {
  return foundation::pool_allocate<host_data::HostSourceManager, ISourceManager>(
      models.resultController->getCodeBits());
}

std::vector<std::string> issuesOf(const row_t& row) {
  std::vector<std::string> ids;
  for (auto it = row->rowIssues(); !it.at_end(); it.next()) ids.push_back(it.current()->getStringId());
  return ids;
}

TEST(BundledExamples, EachLoopCarriesTheIssueItWasWrittenFor) {
  std::string loadedExample;
  host_data::LoadResult loaded = host_data::LoadResult::failure("nothing loaded");
  auto product = configuration::IProductLocations::get();
  const bool shadowModel = product && product->hasFeature("shadow_model");
  for (const Expected& e : kExpected) {
    if (e.shadowModel && !shadowModel) continue;
    SCOPED_TRACE(std::string(e.example) + " row " + std::to_string(e.row) + ": " + e.why);
    if (loadedExample != e.example) {
      loaded = loadExample(e.example);
      ASSERT_TRUE(loaded.ok()) << loaded.error();
      const auto& models = loaded.models();
      auto scan = foundation::pool_allocate<data_models2::ScanIssuesRowVisitHandler>(
          models.surveyModel, models.resultController, sourcesOf(models));
      ASSERT_TRUE(IDatasetHelper::create(models.surveyModel->getDataset(BottomUp))
                      ->visitRows(nullptr, scan, IDatasetHelper::PostVisit, nullptr));
      loadedExample = e.example;
    }
    const row_t row = loaded.models().surveyModel->getDataset(BottomUp)->getRow(e.row);
    ASSERT_TRUE(row);
    const std::vector<std::string> ids = issuesOf(row);
    EXPECT_NE(std::find(ids.begin(), ids.end(), e.issue), ids.end()) << e.issue;
  }
}

TEST(ArithmeticExample, EachDetectorFiresOnItsLoop) {
  host_data::LoadResult loaded = loadExample("arithmetic");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  const auto& models = loaded.models();
  auto provider =
      std::make_shared<data_models2::DataProvider>(models.surveyModel, models.resultController, sourcesOf(models));
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
