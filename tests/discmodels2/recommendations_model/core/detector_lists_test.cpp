// The production detector lists of the scan driver: which detector runs at
// which place. The order is the tie-break between equal issues, so it is
// part of what users see. ctest runs this suite twice, with and without the
// feature "shadow_model" (see CMakeLists.txt).

#include <string>
#include <typeinfo>
#include <vector>

#include <boost/core/demangle.hpp>
#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"
#include "platform/configuration/product_locations.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace {

using namespace test_fakes;
using data_models2::ScanIssuesRowVisitHandler;

template <class List>
std::vector<std::string> names(const List& detectors) {
  std::vector<std::string> out;
  for (const auto& detector : detectors) {
    std::string name = detector ? boost::core::demangle(typeid(*detector).name()) : "null";
    out.push_back(name.substr(name.rfind(':') + 1));
  }
  return out;
}

bool shadowModel() {
  auto locations = configuration::IProductLocations::get();
  return locations && locations->hasFeature("shadow_model");
}

// The loop detectors in their places; the 512-bit shadow comes behind place
// 23 under the feature, the roofline guidance last when there is a model.
std::vector<std::string> loopList(bool withSurveyModel) {
  std::vector<std::string> loop = {
      // 1-5
      "IssueLoopMisalignment", "IssuePeelRemainder", "IssueCDI", "IssueDIV", "IssueExcessiveCaching",
      // 6-10
      "IssueFMA", "IssueReciprocal", "IssueGatherScatter", "IssueTypeConversions", "IssueCompilerDiagnostics",
      // 11-15
      "IssueSystemFunctions", "IssueOpenMP", "IssueFloatingPoint", "IssueSerializedUserFunctions", "IssueUserFunctions",
      // 16-20
      "IssueAssumedDependency", "IssuePotentialVectorizability", "IssueCheckAccessPatterns",
      "IssueInefficientAccessPatterns", "IssueVectorFunctionAttributes",
      // 21-23
      "IssueIndirectCalls", "IssueNeedForSimd", "IssueRegistersPressure",
  };
  if (shadowModel()) loop.push_back("IssueZmmShadow");
  if (withSurveyModel) loop.push_back("IssueRooflineGuidance");
  return loop;
}

TEST(DetectorLists, LoopRowsOtherRowsAndTraits) {
  sptr_t<FakeViewModel> model = foundation::pool_allocate<FakeViewModel>();
  model->datasets[BottomUp] = foundation::pool_allocate<FakeDataset>(BottomUp);
  sptr_t<ScanIssuesRowVisitHandler> scan = foundation::pool_allocate<ScanIssuesRowVisitHandler>(
      model, foundation::pool_allocate<FakeResultController>(), nullptr);

  std::vector<std::string> other = {"IssueSTLAlgorithms"};
  if (shadowModel()) other.push_back("IssueZmmShadow");

  EXPECT_EQ(names(scan->loopDetectorList()), loopList(true));
  if (shadowModel()) {
    EXPECT_NE(scan->loopDetectorList()[23], scan->otherDetectorList()[1]) << "one object in both lists";
  }
  EXPECT_EQ(names(scan->otherDetectorList()), other);
  EXPECT_EQ(names(scan->traitDetectorList()),
            (std::vector<std::string>{"TraitMaskedStores", "TraitHorizontal", "TraitSmallVectorWidth",
                                      "TraitLowTripCounts", "TraitLowGranularity", "TraitPeelRemainder",
                                      "TraitReciprocals", "TraitOverriddenVL"}));
}

// Without a survey model or result controller every other detector still
// stands in its place.
TEST(DetectorLists, WithoutSurveyModelTheRooflineGuidanceIsLeftOut) {
  auto scan = foundation::pool_allocate<ScanIssuesRowVisitHandler>(nullptr, nullptr, nullptr);
  EXPECT_EQ(names(scan->loopDetectorList()), loopList(false));
  EXPECT_EQ(scan->otherDetectorList().size(), shadowModel() ? 2u : 1u);
}

}  // namespace
