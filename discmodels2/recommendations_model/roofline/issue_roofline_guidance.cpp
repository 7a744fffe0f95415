#include "discmodels2/recommendations_model/roofline/issue_roofline_guidance.h"

#include <cstdint>
#include <unordered_set>
#include <utility>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "discmodels2/recommendations_model/core/detector_kit.h"
#include "discmodels2/recommendations_model/data/vbag_helper.h"
#include "discmodels2/recommendations_model/messages/translation.h"
#include "platform/model_support/roofline_row_info.h"
#include "platform/portability/assert.h"
#include "platform/portability/strings.h"

namespace data_models2::issues {

using namespace data_abstractions2;
using system_info::SystemInfo;

namespace {

// Looked up once: the guidance runs on every loop of a scan, and a look-up
// takes the hierarchy's lock. Never freed, so that it outlives any logging
// done while the process exits.
const log4cplus::Logger& logger() {
  static const log4cplus::Logger* const instance = new log4cplus::Logger(
      log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("discmodels.recommendations.issue_roofline_guidance")));
  return *instance;
}

// Indexed by ZoneRecommendation.
constexpr const char* kZoneKeyStems[] = {
    "roofline_guidance_memory_bound",
    "roofline_guidance_mostly_memory_bound",
    "roofline_guidance_compute_bound",
    "roofline_guidance_mostly_compute_bound",
};
constexpr IRecommendation::RecommendationId kZoneRecommendationIds[] = {
    IRecommendation::RooflineGuidanceMemoryBound,
    IRecommendation::RooflineGuidanceMostlyMemoryBound,
    IRecommendation::RooflineGuidanceComputeBound,
    IRecommendation::RooflineGuidanceMostlyComputeBound,
};
constexpr const char* kZoneLogLines[] = {
    "Memory bound case",
    "Mostly memory bound case",
    "Compute bound case",
    "Mostly compute bound case",
};

// The issue carries the roofline class bits besides the language bit.
constexpr unsigned kIssueClassBits = kIssueClass | kRooflineClass;

std::int64_t mixValue(const InstructionMix& map, int column) {
  auto it = map.find(column);
  return it != map.end() && it->second.is_integer() ? it->second.as_i64() : 0;
}

bool hasIssue(const IssueList& issues, std::initializer_list<IIssueEx::IssueId> ids) {
  if (!issues) return false;
  for (const sptr_t<IIssueEx>& issue : *issues) {
    if (!issue) continue;
    const IIssueEx::IssueId id = IIssueEx::getIssueIdByString(issue->getStringId());
    for (IIssueEx::IssueId wanted : ids) {
      if (id == wanted) return true;
    }
  }
  return false;
}

}  // namespace

IssueRooflineGuidance::IssueRooflineGuidance(std::shared_ptr<IDataProvider> dataProvider,
                                             SystemInfo::IsaExtensions maxIsa, sptr_t<IDataset> dataset,
                                             std::shared_ptr<IRoofInterpolator> roofInterpolator)
    : IssueDetector(std::move(dataProvider)),
      maxIsa(maxIsa),
      dataset(std::move(dataset)),
      roofInterpolator(std::move(roofInterpolator)) {}

bool IssueRooflineGuidance::detect(row_t row, IssueList issues) const {
  if (!dataProvider || !row || !issues) return false;
  const CommonData& data = dataProvider->getData(row);
  LOG4CPLUS_DEBUG(logger(), "Entering " << data.functionName);

  // The parts of a split loop whose parent is marked 256 run vector code even
  // when their own record says scalar: the advice follows the code.
  bool isVectorized = data.isVectorized;
  if (!isVectorized) {
    const row_t parent = row->getParent();
    const sptr_t<IMetadata> parentMetadata = parent ? parent->getMetadata() : nullptr;
    isVectorized = parentMetadata && parentMetadata->hasType(IMetadata::TypeSplitLoop) && parentMetadata->hasType(256);
  }

  // The executed mix says more than the static one when it was collected.
  const InstructionMix& mix = data.instructionMixDynamic.empty() ? data.instructionMix : data.instructionMixDynamic;
  const std::shared_ptr<IRowRooflineInfo> info = createRowRooflineInfo(row, dataset, roofInterpolator, mix);
  if (!info || !info->isValid()) return false;

  std::vector<RoofItem> memoryRoofs;
  RoofItem computeRoof;
  info->getRoofs(memoryRoofs, computeRoof);
  const RooflinePoint point = info->getPoint();
  const Zone zone = defineZone(point, memoryRoofs, computeRoof);

  const std::string idString = IIssueEx::getIssueStringId(IIssueEx::RooflineGuidance);
  // The parameters keep the record's own vectorization, not the wider one
  // above: they describe the row, the recommendation describes the code.
  sptr_t<IIssueEx> issue =
      createIssueEx(idString, translate("issue_roofline_guidance_title"), translate("issue_roofline_guidance_text"),
                    kIssuePriority, issueFlags(data, kIssueClassBits),
                    createIssueParams(data.isVectorized, zone, point.operationsType));

  // An outer loop's own figures leave out its inner loops; without call
  // stacks its place on the chart is a guess, and so is the advice.
  int confidence = kConfidenceMedium;
  if (!info->hasCallStacks() && !isInnermostInstance(row)) {
    issue->addRecommendation(createRecommendationWithConfidence(
        IRecommendation::getRecommendationStringId(IRecommendation::RooflineGuidanceCollectCallstacks, data.isFortran),
        translate("rec_roofline_guidance_collect_callstacks_title"),
        translate("rec_roofline_guidance_collect_text", getLangSuffix(data.isFortran)), kConfidenceMedium, kRecommendationFlag));
    confidence = kConfidenceLow;
  }

  const LimitingRoof limiting = info->getLimitingRoof();

  variant_bag_t bag;
  VBagHelper::addVariantBag(bag, "is_vectorized", isVectorized);
  VBagHelper::addVariantBag(bag, "limiting_roof", static_cast<int>(limiting.type));
  const InstructionMixInfo mixInfo = getInstructionMixInfo(mix, data.vectorLength);
  VBagHelper::addVariantBag(bag, "is_fma_dominated", mixInfo.isFmaDominated);
  VBagHelper::addVariantBag(bag, "scalar_mem_instructions", mixInfo.scalarMemInstructions);
  if (data.isaType != SystemInfo::IsaNone && data.isaType < maxIsa) {
    VBagHelper::addVariantBag(bag, "current_isa", SystemInfo::getIsaAbbreviationAsString(data.isaType));
    VBagHelper::addVariantBag(bag, "best_isa", SystemInfo::getIsaAbbreviationAsString(maxIsa));
  }
  const std::string traits = formatTraits(data.instructionSets);
  if (!traits.empty()) VBagHelper::addVariantBag(bag, "traits", traits);
  VBagHelper::addVariantBag(bag, "inefficient_map",
                            hasIssue(issues, {IIssueEx::InefficientAccessPatterns, IIssueEx::CheckAccessPatterns}));
  VBagHelper::addVariantBag(bag, "low_vector_efficiency",
                            data.fieldPresence[VectorEfficiency] && data.vectorLength * data.vectorEfficiency < 100.0);

  switch (zone) {
    case Memory:
      memoryBoundRecommendation(data, issues, issue, bag, limiting.type, confidence);
      break;
    case Compute:
      computeBoundRecommendation(data, issues, issue, bag, confidence, isVectorized);
      break;
    case Mixed:
      // Between the ridges the compute side wins when the compute roof is
      // what holds the loop, or when its instructions are mostly arithmetic.
      if (limiting.type == LimitingRoof::Compute || mixInfo.mixKind == 1) {
        mostlyComputeBoundRecommendation(data, issues, issue, bag, confidence, isVectorized);
      } else {
        mostlyMemoryBoundRecommendation(data, issues, issue, bag, limiting.type, confidence, isVectorized);
      }
      break;
  }
  issues->push_back(issue);
  return true;
}

IssueRooflineGuidance::Zone IssueRooflineGuidance::defineZone(const RooflinePoint& point,
                                                              const std::vector<RoofItem>& memoryRoofs,
                                                              const RoofItem& computeRoof) const {
  NIMB_ASSERT(!memoryRoofs.empty());
  if (memoryRoofs.empty()) return Mixed;
  const double peak = static_cast<double>(computeRoof.value);
  const double slowest = static_cast<double>(memoryRoofs.front().value);
  const double fastest = static_cast<double>(memoryRoofs.back().value);
  // peak / bandwidth is the intensity of a roof's ridge.
  if (peak / fastest > point.ai) return Memory;
  if (peak / slowest < point.ai) return Compute;
  return Mixed;
}

bool IssueRooflineGuidance::isInnermostInstance(const row_t& row) const {
  if (!dataProvider) return false;
  const CommonData& data = dataProvider->getData(row);
  return data.innerLoopCount == 0 || (data.innerLoopCount == 1 && data.isSplitLoop);
}

IssueRooflineGuidance::InstructionMixInfo IssueRooflineGuidance::getInstructionMixInfo(const InstructionMix& map,
                                                                                      int vectorLength) const {
  InstructionMixInfo info;
  if (map.empty()) return info;

  const std::int64_t memory = mixValue(map, 5);
  const std::int64_t compute = mixValue(map, 1);
  const std::int64_t mixed = mixValue(map, 45);
  const std::int64_t all = memory + compute + mixed;
  // A mix that counts nothing leans neither way.
  const double ratio = all != 0 ? (static_cast<double>(compute) + 0.5 * static_cast<double>(mixed)) /
                                      static_cast<double>(all)
                                : 0.5;
  info.mixKind = ratio < 0.4 ? 0 : ratio > 0.6 ? 1 : 2;
  info.isFmaDominated = 2 * mixValue(map, 74) > compute + mixed;

  std::int64_t vectorMemory = 0;
  for (int column = 26; column <= 30; ++column) vectorMemory += mixValue(map, column);
  // Dynamic counts times a vector length can leave 64 bits.
  info.scalarMemInstructions =
      static_cast<__int128>(vectorMemory) < static_cast<__int128>(memory - vectorMemory) * vectorLength;
  return info;
}

void IssueRooflineGuidance::memoryBoundRecommendation(const CommonData& data, const IssueList& issues,
                                                      const sptr_t<IIssueEx>& issue, const variant_bag_t& bag,
                                                      LimitingRoof::Type limitingRoofType, int confidence) const {
  LOG4CPLUS_DEBUG(logger(), kZoneLogLines[MemoryBound]);
  setPriorities({IIssueEx::RegistersPressure, IIssueEx::VectorFunctionAttributes}, 0.5f, issues);
  setPriorities({IIssueEx::ExcessiveCaching, IIssueEx::InefficientAccessPatterns, IIssueEx::CheckAccessPatterns},
                1.0f, issues);
  if (limitingRoofType == LimitingRoof::BelowDram) {
    // Not even DRAM bandwidth is reached: latency, not bandwidth, is the
    // cost, and irregular access and scalar parts are what add latency.
    LOG4CPLUS_DEBUG(logger(), "Below DRAM");
    setPriorities({IIssueEx::PeelRemainder, IIssueEx::GatherScatter, IIssueEx::CDI}, 2.0f, issues);
  }
  addZoneRecommendation(MemoryBound, data, issue, bag, confidence);
}

void IssueRooflineGuidance::mostlyMemoryBoundRecommendation(const CommonData& data, const IssueList& issues,
                                                            const sptr_t<IIssueEx>& issue, const variant_bag_t& bag,
                                                            LimitingRoof::Type limitingRoofType, int confidence,
                                                            bool isVectorized) const {
  LOG4CPLUS_DEBUG(logger(), kZoneLogLines[MostlyMemoryBound]);
  setPriorities({IIssueEx::RegistersPressure, IIssueEx::VectorFunctionAttributes}, 0.5f, issues);
  setPriorities({IIssueEx::ExcessiveCaching, IIssueEx::InefficientAccessPatterns, IIssueEx::CheckAccessPatterns},
                1.0f, issues);
  if (limitingRoofType == LimitingRoof::BelowDram) {
    LOG4CPLUS_DEBUG(logger(), "Below DRAM");
    setPriorities({IIssueEx::PeelRemainder, IIssueEx::GatherScatter, IIssueEx::CDI}, 2.0f, issues);
  }
  if (!isVectorized) {
    // Near the ridge a scalar loop gains most from vectorizing: vector
    // loads also raise the bandwidth it draws.
    setPriorities({IIssueEx::AssumedDependency, IIssueEx::OpenMP, IIssueEx::UserFunctions, IIssueEx::ProvenDependency,
                   IIssueEx::PotentialVectorizability, IIssueEx::NeedForSimd, IIssueEx::FloatingPoint,
                   IIssueEx::SerializedUserFunctions},
                  3.0f, issues);
  }
  addZoneRecommendation(MostlyMemoryBound, data, issue, bag, confidence);
}

void IssueRooflineGuidance::computeBoundRecommendation(const CommonData& data, const IssueList& issues,
                                                       const sptr_t<IIssueEx>& issue, const variant_bag_t& bag,
                                                       int confidence, bool isVectorized) const {
  computeSide(data, issues, issue, bag, confidence, isVectorized, ComputeBound);
}

void IssueRooflineGuidance::mostlyComputeBoundRecommendation(const CommonData& data, const IssueList& issues,
                                                             const sptr_t<IIssueEx>& issue, const variant_bag_t& bag,
                                                             int confidence, bool isVectorized) const {
  computeSide(data, issues, issue, bag, confidence, isVectorized, MostlyComputeBound);
}

void IssueRooflineGuidance::computeSide(const CommonData& data, const IssueList& issues,
                                        const sptr_t<IIssueEx>& issue, const variant_bag_t& bag, int confidence,
                                        bool isVectorized, ZoneRecommendation which) const {
  LOG4CPLUS_DEBUG(logger(), kZoneLogLines[which]);
  if (isVectorized) {
    // Vector code under the compute roof gains from cheaper arithmetic.
    setPriorities({IIssueEx::LoopMisalignment}, 0.5f, issues);
    setPriorities({IIssueEx::FMA, IIssueEx::Reciprocal, IIssueEx::DIV, IIssueEx::TypeConversions}, 1.0f, issues);
  }
  setPriorities({IIssueEx::AssumedDependency, IIssueEx::OpenMP, IIssueEx::UserFunctions,
                 IIssueEx::VectorFunctionAttributes, IIssueEx::ProvenDependency, IIssueEx::PotentialVectorizability,
                 IIssueEx::NeedForSimd, IIssueEx::FloatingPoint, IIssueEx::SerializedUserFunctions},
                1.0f, issues);
  addZoneRecommendation(which, data, issue, bag, confidence);
}

void IssueRooflineGuidance::addZoneRecommendation(ZoneRecommendation which, const CommonData& data,
                                                  const sptr_t<IIssueEx>& issue, const variant_bag_t& bag,
                                                  int confidence) const {
  const std::string stem = kZoneKeyStems[which];
  // The texts are the same for both languages; the suffix travels as the
  // text's argument.
  issue->addRecommendation(createRecommendationWithParameters(
      IRecommendation::getRecommendationStringId(kZoneRecommendationIds[which], data.isFortran),
      translate(stem + "_title"), translate(stem + "_text", getLangSuffix(data.isFortran)), bag, confidence));
}

variant_bag_t IssueRooflineGuidance::createIssueParams(bool isVectorized, Zone zone,
                                                       data_abstractions2::OperationsType operationsType) const {
  const char* zoneText = zone == Memory ? "mem" : zone == Mixed ? "mix" : "comp";
  const char* typeText = "";
  if (operationsType == OperationsFloat) {
    typeText = "float";
  } else if (operationsType == OperationsInt) {
    typeText = "int";
  } else {
    NIMB_ASSERT_TEXT(false, "IssueRooflineGuidance::detect mixed operation type is not supported yet.");
  }
  variant_bag_t bag;
  VBagHelper::addVariantBag(bag, "is_vectorized", isVectorized);
  VBagHelper::addAttribute(bag, VBagHelper::VBagAttr<const char*>("zone", zoneText));
  VBagHelper::addAttribute(bag, VBagHelper::VBagAttr<const char*>("ops_type", typeText));
  return bag;
}

bool IssueRooflineGuidance::setPriorities(std::initializer_list<IIssueEx::IssueId> ids, float value,
                                          const IssueList& issues) const {
  if (!issues) return false;
  bool touched = false;
  for (const sptr_t<IIssueEx>& issue : *issues) {
    if (!issue) continue;
    const IIssueEx::IssueId id = IIssueEx::getIssueIdByString(issue->getStringId());
    for (IIssueEx::IssueId wanted : ids) {
      if (id != wanted) continue;
      issue->setValue(IRecommendationBase::rooflineImpactId(), value);
      touched = true;
      break;
    }
  }
  return touched;
}

std::string IssueRooflineGuidance::formatTraits(const std::string& instructionSets) {
  // Multiply-add extensions are in most modern loops and tell nothing about
  // the zone.
  static const std::unordered_set<std::string> kLeftOut = {"FMA", "QFMA", "QVNNI", "IFMA", "VNNI"};
  const std::string joined = portability::replace_all(instructionSets, "; ", ";");
  std::string out;
  for (const std::string& entry : portability::split_string(joined, ";")) {
    // Empty entries come from a trailing separator and name nothing.
    if (entry.empty() || kLeftOut.count(entry) != 0) continue;
    if (!out.empty()) out += ", ";
    out += entry;
  }
  return out;
}

}  // namespace data_models2::issues
