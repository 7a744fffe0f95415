#pragma once
// `HostLoopManager`: the per-loop data of a loaded result that is not a plain
// field: trip-count distributions, the dependency and access-pattern tables,
// gathers and non-temporal store candidates.
//
// The data hangs on the rows themselves, so the `dataset` arguments of the
// interface are not needed to find it; a row of either tree answers with its
// own data.

#include <map>

#include "data_abstractions2/i_loop_manager.h"
#include "platform/host_data/host_dataset.h"

namespace host_data {

class HostLoopManager : public data_abstractions2::ILoopManager {
 public:
  using row_t = data_abstractions2::row_t;
  using dataset_ptr = foundation::sptr_t<data_abstractions2::IDataset>;

  /// `tables` by kind (LoopTableKind); a kind that is absent has no table.
  explicit HostLoopManager(std::map<int, foundation::sptr_t<HostDataset>> tables) : tables_(std::move(tables)) {}

  bool getSourceTripCounts(const row_t& row, const dataset_ptr& dataset, data_abstractions2::FieldId id,
                           data_abstractions2::SourceTripCountsData& data) const override;
  dataset_ptr getTable(int kind) const override;
  /// Replaces `indices` with the row's record indices in table `kind`.
  void getIndices(const dataset_ptr& dataset, const row_t& row, int kind, std::vector<int>& indices) const override;
  /// Null when there is no table of `kind`; indices outside the table are left out.
  foundation::sptr_t<data_abstractions2::ITableView> getView(const std::vector<int>& indices, int kind) const override;
  /// Appends the gathers of the records at `gathers.indices`, in index order;
  /// false, with `valid` false, when there is no access-pattern table or an
  /// index lies outside it.
  bool getGathers(data_abstractions2::Gathers& gathers) const override;
  bool getMedianSourceTripCount(const row_t& row, const dataset_ptr& dataset, std::int64_t& median) const override;
  /// The candidates of access-pattern data (kind 3); other kinds have none.
  std::vector<data_abstractions2::NTSCandidatesEvictionsInfo> getNtsCandidates(const row_t& row,
                                                                               const dataset_ptr& dataset,
                                                                               int kind) const override;

 private:
  const HostDataset* table(int kind) const;

  std::map<int, foundation::sptr_t<HostDataset>> tables_;
};

}  // namespace host_data
