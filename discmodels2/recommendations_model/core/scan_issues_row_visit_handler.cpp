#include "discmodels2/recommendations_model/core/scan_issues_row_visit_handler.h"

#include <algorithm>
#include <new>
#include <utility>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/core/get_children.h"
#include "discmodels2/recommendations_model/data/data_provider.h"
#include "discmodels2/recommendations_model/data/field_retriever.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_div.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_floating_point.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_fma.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_reciprocal.h"
#include "discmodels2/recommendations_model/detectors/arithmetic/issue_type_conversions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_indirect_calls.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_open_mp.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_serialized_user_functions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_stl_algorithms.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_system_functions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_user_functions.h"
#include "discmodels2/recommendations_model/detectors/calls/issue_vector_function_attributes.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_loop_misalignment.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_peel_remainder.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_registers_pressure.h"
#include "discmodels2/recommendations_model/detectors/code_shape/issue_zmm_shadow.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_check_access_patterns.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_excessive_caching.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_gather_scatter.h"
#include "discmodels2/recommendations_model/detectors/memory/issue_inefficient_access_patterns.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_assumed_dependency.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_cdi.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_compiler_diagnostics.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_need_for_simd.h"
#include "discmodels2/recommendations_model/detectors/vectorization/issue_potential_vectorizability.h"
#include "discmodels2/recommendations_model/roofline/issue_roofline_guidance.h"
#include "discmodels2/recommendations_model/traits/trait_horizontal.h"
#include "discmodels2/recommendations_model/traits/trait_low_granularity.h"
#include "discmodels2/recommendations_model/traits/trait_low_trip_counts.h"
#include "discmodels2/recommendations_model/traits/trait_masked_stores.h"
#include "discmodels2/recommendations_model/traits/trait_overridden_vl.h"
#include "discmodels2/recommendations_model/traits/trait_peel_remainder.h"
#include "discmodels2/recommendations_model/traits/trait_reciprocals.h"
#include "discmodels2/recommendations_model/traits/trait_small_vector_width.h"
#include "platform/configuration/product_locations.h"
#include "platform/foundation/statistic.h"
#include "platform/portability/assert.h"
#include "platform/system_info/system_info.h"

namespace data_models2 {

using namespace data_abstractions2;
using system_info::SystemInfo;

namespace {

template <class T>
std::shared_ptr<std::vector<T>> makeResultVector() {
  return std::shared_ptr<std::vector<T>>(new (std::nothrow) std::vector<T>());
}

bool issueOrder(const sptr_t<IIssueEx>& a, const sptr_t<IIssueEx>& b) { return IRecommendationBase::comparer(a, b); }

}  // namespace

ScanIssuesRowVisitHandler::ScanIssuesRowVisitHandler(sptr_t<ISurveyingViewModel> surveyModel,
                                                     sptr_t<IResultController> resultController,
                                                     sptr_t<ISourceManager> sourceManager) {
  dataProvider = std::make_shared<DataProvider>(surveyModel, resultController, sourceManager);
  if (surveyModel) bottomUp = surveyModel->getDataset(BottomUp);

  // Read once for the whole scan and handed to the detectors that need them.
  const bool hasTripCounts =
      resultController && resultController->hasCollectedData(IResultController::ResultTripCounts);
  const auto machineIsa = static_cast<SystemInfo::IsaExtensions>(
      resultController ? resultController->getIsaExtensions(0) : SystemInfo::IsaNone);
  const auto machineCpu =
      static_cast<SystemInfo::CPUType>(resultController ? resultController->getCpuType(0) : SystemInfo::CpuUnknown);

  // ---- Loop detectors. The order is the tie-break of equal issues, so it is
  // part of what users see. Places not yet taken are marked; a detector is
  // added at its place:
  //    1 IssueLoopMisalignment(cpu)         2 IssuePeelRemainder
  //    3 IssueCDI                           4 IssueDIV
  //    5 IssueExcessiveCaching              6 IssueFMA(isa, model)
  //    7 IssueReciprocal(isa, cpu, model)   8 IssueGatherScatter
  //    9 IssueTypeConversions              10 IssueCompilerDiagnostics
  //   11 IssueSystemFunctions              12 IssueOpenMP
  //   13 IssueFloatingPoint                14 IssueSerializedUserFunctions
  //   15 IssueUserFunctions                16 IssueAssumedDependency
  //   17 IssuePotentialVectorizability(model)
  //   18 IssueCheckAccessPatterns          19 IssueInefficientAccessPatterns
  //   20 IssueVectorFunctionAttributes     21 IssueIndirectCalls(cpu)
  //   22 IssueNeedForSimd(isa, cpu, hasTripCounts, model)
  //   23 IssueRegistersPressure
  // then IssueZmmShadow when the product has the feature "shadow_model";
  // then IssueRooflineGuidance(isa, getDataset(1), roof interpolator) when
  // there is a survey model.
  loopDetectors = {
      std::make_shared<issues::IssueLoopMisalignment>(dataProvider, machineCpu),                  // 1
      std::make_shared<issues::IssuePeelRemainder>(dataProvider),                                 // 2
      std::make_shared<issues::IssueCDI>(dataProvider),                                           // 3
      std::make_shared<issues::IssueDIV>(dataProvider),                                           // 4
      std::make_shared<issues::IssueExcessiveCaching>(dataProvider),                              // 5
      std::make_shared<issues::IssueFMA>(dataProvider, machineIsa, surveyModel),                  // 6
      std::make_shared<issues::IssueReciprocal>(dataProvider, machineIsa, machineCpu, surveyModel),  // 7
      std::make_shared<issues::IssueGatherScatter>(dataProvider),                                 // 8
      std::make_shared<issues::IssueTypeConversions>(dataProvider),                               // 9
      std::make_shared<issues::IssueCompilerDiagnostics>(dataProvider),                           // 10
      std::make_shared<issues::IssueSystemFunctions>(dataProvider),                               // 11
      std::make_shared<issues::IssueOpenMP>(dataProvider),                                        // 12
      std::make_shared<issues::IssueFloatingPoint>(dataProvider),                                 // 13
      std::make_shared<issues::IssueSerializedUserFunctions>(dataProvider),                       // 14
      std::make_shared<issues::IssueUserFunctions>(dataProvider),                                 // 15
      std::make_shared<issues::IssueAssumedDependency>(dataProvider),                             // 16
      std::make_shared<issues::IssuePotentialVectorizability>(dataProvider, surveyModel),         // 17
      std::make_shared<issues::IssueCheckAccessPatterns>(dataProvider),                           // 18
      std::make_shared<issues::IssueInefficientAccessPatterns>(dataProvider),                     // 19
      std::make_shared<issues::IssueVectorFunctionAttributes>(dataProvider),                      // 20
      // The detector's machine value is the CPU type, compared as the
      // number it is.
      std::make_shared<issues::IssueIndirectCalls>(dataProvider,
                                                   static_cast<SystemInfo::IsaExtensions>(machineCpu)),  // 21
      std::make_shared<issues::IssueNeedForSimd>(dataProvider, machineIsa, machineCpu, hasTripCounts,
                                                 surveyModel),  // 22
      std::make_shared<issues::IssueRegistersPressure>(dataProvider),                             // 23
  };

  // The 512-bit shadow is judged only where the product models it.
  const sptr_t<configuration::IProductLocations> product = configuration::IProductLocations::get();
  if (product && product->hasFeature("shadow_model")) {
    loopDetectors.push_back(std::make_shared<issues::IssueZmmShadow>(dataProvider));
  }

  // The roofline guidance ranks what the others found on the row, so it
  // comes behind all of them.
  if (surveyModel) {
    // Dataset, roofs, interpolator: one after the other, not as arguments
    // of one call, whose order of evaluation is unspecified.
    const sptr_t<IDataset> dataset = surveyModel->getDataset(BottomUp);
    generic_iterator_t<RoofItem> roofItems = surveyModel->getRoofItems();
    std::shared_ptr<IRoofInterpolator> interpolator = createRoofInterpolator(resultController, std::move(roofItems));
    loopDetectors.push_back(
        std::make_shared<issues::IssueRooflineGuidance>(dataProvider, machineIsa, dataset, std::move(interpolator)));
  }

  // ---- Detectors for rows that are not loops: IssueSTLAlgorithms, then a
  // separate IssueZmmShadow under the same feature.
  otherDetectors = {
      std::make_shared<issues::IssueSTLAlgorithms>(dataProvider),
  };
  // Asked again, and a separate object: the two lists share no detector.
  const sptr_t<configuration::IProductLocations> productAgain = configuration::IProductLocations::get();
  if (productAgain && productAgain->hasFeature("shadow_model")) {
    otherDetectors.push_back(std::make_shared<issues::IssueZmmShadow>(dataProvider));
  }

  // ---- Trait detectors, for every row: TraitMaskedStores, TraitHorizontal,
  // TraitSmallVectorWidth, TraitLowTripCounts, TraitLowGranularity,
  // TraitPeelRemainder, TraitReciprocals(isa), TraitOverriddenVL.
  // TraitSystemCalls and TraitIndirectCalls are deliberately not listed.
  traitDetectors = {
      std::make_shared<issues::TraitMaskedStores>(dataProvider),
      std::make_shared<issues::TraitHorizontal>(dataProvider),
      std::make_shared<issues::TraitSmallVectorWidth>(dataProvider),
      std::make_shared<issues::TraitLowTripCounts>(dataProvider),
      std::make_shared<issues::TraitLowGranularity>(dataProvider),
      std::make_shared<issues::TraitPeelRemainder>(dataProvider),
      std::make_shared<issues::TraitReciprocals>(dataProvider, machineIsa),
      std::make_shared<issues::TraitOverriddenVL>(dataProvider),
  };
}

ScanIssuesRowVisitHandler::ScanIssuesRowVisitHandler(std::shared_ptr<IDataProvider> dataProvider,
                                                     IssueDetectors loopDetectors, IssueDetectors otherDetectors,
                                                     TraitDetectors traitDetectors)
    : loopDetectors(std::move(loopDetectors)),
      otherDetectors(std::move(otherDetectors)),
      traitDetectors(std::move(traitDetectors)),
      dataProvider(std::move(dataProvider)) {}

ScanIssuesRowVisitHandler::~ScanIssuesRowVisitHandler() = default;

variant_bag_t ScanIssuesRowVisitHandler::handlePreVisit(row_t, const variant_bag_t&, bool&) { return {}; }

variant_bag_t ScanIssuesRowVisitHandler::handlePostVisit(row_t row, const std::vector<variant_bag_t>&) {
  NIMB_ASSERT(row);
  if (!row) return {};
  sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata || metadata->hasType(IMetadata::TypeSkipped)) return {};

  // Anything that is not innermost counts as outer, loop or not.
  if (metadata->hasType(IMetadata::TypeInnermost)) {
    ++innermostLoopCount;
  } else {
    ++outerLoopCount;
  }

  // A row that can't be read gets no findings of its own but still shows
  // those of its children.
  try {
    if (dataProvider && dataProvider->fillCommonData(row)) storeOwnFindings(row);
  } catch (const std::exception& e) {
    throw ScanError(describeRow(row), e.what());
  }
  liftChildFindings(row);
  return {};
}

std::string ScanIssuesRowVisitHandler::describeRow(const row_t& row) const {
  const std::string function = checkData<std::string>(FunctionName, std::string(), row, bottomUp);
  const std::string file = checkData<std::string>(SourceFile, std::string(), row, bottomUp);
  const std::int64_t line = checkData<std::int64_t>(SourceLine, 0, row, bottomUp);
  std::string text = "row " + std::to_string(row->getId());
  if (!function.empty()) text += " (" + function + ")";
  if (!file.empty()) text += " in " + file + (line > 0 ? ":" + std::to_string(line) : std::string());
  return text;
}

void ScanIssuesRowVisitHandler::storeOwnFindings(const row_t& row) {
  generic_iterator_t<sptr_t<ITrait>> traits;
  if (getTraits(row, traits)) {
    row_lock_t lock = row->lockRow();
    row->clearRowTraits();
    for (; !traits.at_end(); traits.next()) {
      if (traits.current()) row->addRowTrait(traits.current());
    }
  }

  generic_iterator_t<sptr_t<IIssueEx>> found;
  if (getIssues(row, found)) {
    row_lock_t lock = row->lockRow();
    row->clearRowIssues();
    for (; !found.at_end(); found.next()) {
      const sptr_t<IIssueEx>& issue = found.current();
      if (!issue) continue;
      row->addRowIssue(issue);
      ++statCounters[issue->getStringId()];
      for (auto recommendations = issue->getRecommendations(); !recommendations.at_end(); recommendations.next()) {
        if (recommendations.current()) ++statCounters[recommendations.current()->getStringId()];
      }
    }
  }
}

void ScanIssuesRowVisitHandler::liftChildFindings(const row_t& row) {
  // Keyed maps whose insert never replaces: the row's own findings go in
  // first and win, then children in tree order, the first child winning.
  std::map<std::string, sptr_t<IIssueEx>> issueById;
  std::map<ITrait::Id, sptr_t<ITrait>> traitById;
  auto addIssues = [&issueById](generic_iterator_t<sptr_t<IIssueEx>> it) {
    for (; !it.at_end(); it.next()) {
      if (it.current()) issueById.emplace(it.current()->getStringId(), it.current());
    }
  };
  auto addTraits = [&traitById](generic_iterator_t<sptr_t<ITrait>> it) {
    for (; !it.at_end(); it.next()) {
      if (it.current()) traitById.emplace(it.current()->getTraitId(), it.current());
    }
  };

  // The host may read the row's lists while the scan rewrites them. The
  // children's locks are taken inside this one, parent before child, the
  // order every walk up the tree keeps.
  row_lock_t rowLock = row->lockRow();
  addTraits(row->rowTraits());
  addIssues(row->rowIssues());
  const std::size_t ownIssues = issueById.size();
  const std::size_t ownTraits = traitById.size();

  for (auto children = issues::getChildren(row); !children.at_end(); children.next()) {
    const row_t& child = children.current();
    if (!child) continue;
    row_lock_t lock = child->lockRow();
    addIssues(child->rowIssues());
    addTraits(child->rowTraits());
  }

  // Rewrite only when something was added, so a row's stored order is left
  // alone otherwise.
  if (issueById.size() > ownIssues) {
    std::vector<sptr_t<IIssueEx>> merged;
    merged.reserve(issueById.size());
    for (auto& entry : issueById) merged.push_back(entry.second);
    std::stable_sort(merged.begin(), merged.end(), issueOrder);
    row->clearRowIssues();
    for (const auto& issue : merged) row->addRowIssue(issue);
  }
  if (traitById.size() > ownTraits) {
    row->clearRowTraits();
    for (const auto& entry : traitById) row->addRowTrait(entry.second);
  }
}

bool ScanIssuesRowVisitHandler::getTraits(const row_t& row, generic_iterator_t<sptr_t<ITrait>>& result) const {
  auto found = makeResultVector<sptr_t<ITrait>>();
  if (!found) {
    NIMB_ASSERT_TEXT(false, "false");
    return false;
  }
  bool any = false;
  for (const auto& detector : traitDetectors) {
    if (detector && detector->detect(row, found)) any = true;
  }
  if (any) result = generic_iterator_t<sptr_t<ITrait>>(found);
  return any;
}

bool ScanIssuesRowVisitHandler::getIssues(const row_t& row, generic_iterator_t<sptr_t<IIssueEx>>& result) const {
  if (!row) return false;
  auto found = makeResultVector<sptr_t<IIssueEx>>();
  if (!found) {
    NIMB_ASSERT_TEXT(false, "false");
    return false;
  }
  sptr_t<IMetadata> metadata = row->getMetadata();
  if (!metadata) return false;

  const IssueDetectors& detectors = metadata->hasType(IMetadata::TypeLoop) ? loopDetectors : otherDetectors;
  bool any = false;
  for (const auto& detector : detectors) {
    if (detector && detector->detect(row, found)) any = true;
  }
  if (!any) return false;

  // Stable: issues that compare equal keep the order of their detectors.
  std::stable_sort(found->begin(), found->end(), issueOrder);

  if (metadata->hasType(IMetadata::TypeMarked)) {
    for (const auto& issue : *found) {
      if (!issue) continue;
      issue->addFlags(issues::kMarkedRowFlag);
      for (auto recommendations = issue->getRecommendations(); !recommendations.at_end(); recommendations.next()) {
        if (recommendations.current()) recommendations.current()->addFlags(issues::kMarkedRowFlag);
      }
    }
  }
  result = generic_iterator_t<sptr_t<IIssueEx>>(found);
  return true;
}

void ScanIssuesRowVisitHandler::writeStatCounters() const {
  foundation::statistic_t& statistics = foundation::statistic_t::get();
  statistics.set_value("dm.survey.loops.outer", outerLoopCount);
  statistics.set_value("dm.survey.loops.innermost", innermostLoopCount);
  for (const auto& [id, count] : statCounters) statistics.set_value("dm.survey.issues." + id, count);
}

}  // namespace data_models2
