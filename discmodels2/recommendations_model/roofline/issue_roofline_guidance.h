#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "data_abstractions2/i_roofline_info.h"
#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/model_support/roofline_interpolator.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Places a loop on the machine's roofline chart and says which side it
/// stands on: memory bound (left of every ridge), compute bound (right of
/// every ridge) or between. It is the one detector that also ranks the
/// others: it gives the issues already found on the row a roofline impact by
/// their id, so that what pays off in the loop's zone comes first. For that
/// it must run after all of them.
///
/// Skips rows without a roofline position (no figures, no time, or a result
/// without roofs) and says nothing about them. A mixed operation type has no
/// roof of its own; the issue still goes out, with an empty "ops_type".
class IssueRooflineGuidance : public IssueDetector {
 public:
  enum Zone : int { Memory = 0, Mixed = 1, Compute = 2 };

  /// What a loop's instruction mix says.
  struct InstructionMixInfo {
    /// 0 memory instructions dominate, 1 compute instructions dominate,
    /// 2 between, 3 no mix.
    int mixKind = 3;
    bool isFmaDominated = false;
    /// Fewer vector memory instructions than scalar ones weighted by the
    /// vector length: the loop still loads and stores element by element.
    bool scalarMemInstructions = false;
  };

  IssueRooflineGuidance(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::IsaExtensions maxIsa,
                        data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset,
                        std::shared_ptr<IRoofInterpolator> roofInterpolator);

  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

  /// Memory when the loop's intensity is left of the fastest memory roof's
  /// ridge, Compute when right of the slowest one's, else Mixed; a loop
  /// exactly on a ridge is Mixed. `memoryRoofs` are slowest first, as
  /// IRooflineInfo::getRoofs gives them.
  Zone defineZone(const data_abstractions2::RooflinePoint& point,
                  const std::vector<data_abstractions2::RoofItem>& memoryRoofs,
                  const data_abstractions2::RoofItem& computeRoof) const;
  /// True for a loop without nested loops; the one child of a split loop is
  /// a part of it, not a nested loop.
  bool isInnermostInstance(const data_abstractions2::row_t& row) const;
  InstructionMixInfo getInstructionMixInfo(const data_abstractions2::InstructionMix& map, int vectorLength) const;

  void memoryBoundRecommendation(const CommonData& data, const IssueList& issues,
                                 const data_abstractions2::sptr_t<data_abstractions2::IIssueEx>& issue,
                                 const data_abstractions2::variant_bag_t& bag,
                                 data_abstractions2::LimitingRoof::Type limitingRoofType, int confidence) const;
  void mostlyMemoryBoundRecommendation(const CommonData& data, const IssueList& issues,
                                       const data_abstractions2::sptr_t<data_abstractions2::IIssueEx>& issue,
                                       const data_abstractions2::variant_bag_t& bag,
                                       data_abstractions2::LimitingRoof::Type limitingRoofType, int confidence,
                                       bool isVectorized) const;
  void computeBoundRecommendation(const CommonData& data, const IssueList& issues,
                                  const data_abstractions2::sptr_t<data_abstractions2::IIssueEx>& issue,
                                  const data_abstractions2::variant_bag_t& bag, int confidence,
                                  bool isVectorized) const;
  void mostlyComputeBoundRecommendation(const CommonData& data, const IssueList& issues,
                                        const data_abstractions2::sptr_t<data_abstractions2::IIssueEx>& issue,
                                        const data_abstractions2::variant_bag_t& bag, int confidence,
                                        bool isVectorized) const;

  /// The issue's parameters: "is_vectorized" as a named value, "zone"
  /// ("mem", "mix", "comp") and "ops_type" ("float", "int") as attributes.
  data_abstractions2::variant_bag_t createIssueParams(bool isVectorized, Zone zone,
                                                      data_abstractions2::OperationsType operationsType) const;
  /// Sets the roofline impact of every issue in `issues` whose id is in
  /// `ids` to `value`; true when it touched one. Later calls overwrite.
  bool setPriorities(std::initializer_list<data_abstractions2::IIssueEx::IssueId> ids, float value,
                     const IssueList& issues) const;

  /// The loop's instruction sets for the recommendation's parameters,
  /// ", "-separated, without the multiply-add extensions (which say nothing
  /// about the zone).
  static std::string formatTraits(const std::string& instructionSets);

 private:
  enum ZoneRecommendation : int { MemoryBound, MostlyMemoryBound, ComputeBound, MostlyComputeBound };

  void computeSide(const CommonData& data, const IssueList& issues,
                   const data_abstractions2::sptr_t<data_abstractions2::IIssueEx>& issue,
                   const data_abstractions2::variant_bag_t& bag, int confidence, bool isVectorized,
                   ZoneRecommendation which) const;
  void addZoneRecommendation(ZoneRecommendation which, const CommonData& data,
                             const data_abstractions2::sptr_t<data_abstractions2::IIssueEx>& issue,
                             const data_abstractions2::variant_bag_t& bag, int confidence) const;

  system_info::SystemInfo::IsaExtensions maxIsa;
  data_abstractions2::sptr_t<data_abstractions2::IDataset> dataset;
  std::shared_ptr<IRoofInterpolator> roofInterpolator;
};

}  // namespace data_models2::issues
