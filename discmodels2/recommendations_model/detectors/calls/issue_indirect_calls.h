#pragma once

#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/system_info/system_info.h"

namespace data_models2::issues {

/// Finds a loop whose machine code calls through a pointer, and recommends
/// by what it reaches and where it runs: vector variants on a C++ build of
/// a Vorex compiler from version 17, moving the call out of the loop
/// otherwise, replacing a call proxy when C++ names were reached, and
/// branch prediction help when the machine value is 14 and the C library
/// is older than 2.23.
///
/// Skips loops that call system functions directly, split loops, scalar
/// outer loops, and loops whose code (and that of their inner loops) shows
/// no indirect call.
class IssueIndirectCalls : public IssueDetector {
 public:
  IssueIndirectCalls(std::shared_ptr<IDataProvider> dataProvider, system_info::SystemInfo::IsaExtensions isa);
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

 private:
  system_info::SystemInfo::IsaExtensions isa;
};

}  // namespace data_models2::issues
