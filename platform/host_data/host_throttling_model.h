#pragma once
// `HostThrottlingModel`: answers, per row, the stored diagnosis of a loop
// against its 512-bit shadow. Rows without one answer 0.

#include "data_abstractions2/i_surveying_view_model.h"

namespace host_data {

class HostThrottlingModel : public data_abstractions2::IAVX512FreqThrottlingModel {
 public:
  int diagnose(const data_abstractions2::row_t& row) const override;
};

}  // namespace host_data
