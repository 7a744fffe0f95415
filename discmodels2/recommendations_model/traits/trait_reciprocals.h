#pragma once

#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Marks vectorized loops that divide or take square roots, built for an
/// instruction set below AVX-512 and run on a machine of the common AVX-512
/// level: there the fast reciprocal instructions of AVX-512 would replace
/// most of the slow divisions.
///
/// Skips scalar loops, rows that are no loops, loops already built for
/// AVX-512, and any machine whose level is not exactly the common AVX-512
/// subset (later levels have other advice).
class TraitReciprocals : public TraitDetector {
 public:
  TraitReciprocals(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::IsaExtensions systemIsa);
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;

 private:
  system_info::SystemInfo::IsaExtensions systemIsa;
};

}  // namespace data_models2::issues
