#pragma once

#include "discmodels2/recommendations_model/core/detector.h"

namespace data_models2::issues {

/// Marks vector bodies that use vectors narrower than 256 bits although
/// their instruction set has wider ones: half of each register stays idle.
/// An AVX2 loop is marked when its narrowest vector is below 256 bits, an
/// AVX loop already when its widest one is, since AVX has full-width
/// vectors for floating point only.
///
/// Skips scalar loops, rows that are no loops or no vector body, and marked
/// rows. The instruction set names are compared in capitals, and the record
/// holds them lowered: a row read from a result never gets this trait. The
/// comparison is kept as it is on purpose.
class TraitSmallVectorWidth : public TraitDetector {
 public:
  using TraitDetector::TraitDetector;
  bool detect(data_abstractions2::row_t row, TraitList traits) const override;
};

}  // namespace data_models2::issues
