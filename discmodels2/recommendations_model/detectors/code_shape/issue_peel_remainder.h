#pragma once

#include <cstdint>

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Finds split loops whose peeled and remainder parts take as much time as
/// the vector body, or carry most of the iterations, so that the vector code
/// hardly runs. It adds up time, iterations and trip counts of the parts,
/// proposes remedies in a fixed order (unrolling, vector length, alignment,
/// padding, SIMD modifiers, asking for trip counts, dynamic alignment) and
/// estimates how much of the loop's time they could win.
///
/// A remainder part whose parent is no split loop is judged alone, from its
/// own record. Rows that are neither such a remainder nor a split loop are
/// skipped, and so are parts whose time is below the noise (unless they have
/// trip counts and ran). An issue that gets no recommendation is dropped.
class IssuePeelRemainder : public IssueDetector {
 public:
  using IssueDetector::IssueDetector;
  bool detect(data_abstractions2::row_t row, IssueList issues) const override;

 private:
  /// The parameters of the unrolling, vector length and padding advice;
  /// the compiler version is left out when 0.
  static data_abstractions2::variant_bag_t makePeelRemainderBag(std::uint64_t vectorLength, std::uint64_t tripCount,
                                                                std::uint64_t tripCountPeel, std::uint64_t unrollFactor,
                                                                std::uint64_t compilerMajorVersion);
};

}  // namespace data_models2::issues
