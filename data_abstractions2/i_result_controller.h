#pragma once
// The result on disk: where it lives and what was collected.

#include <cstdint>
#include <string>

#include "data_abstractions2/common.h"

namespace data_abstractions2 {

class IResultController : public ref_countable_t {
 public:
  /// Data kinds a result may hold.
  enum ResultType : int {
    ResultSurvey = 1,
    ResultDependencies = 2,
    ResultAccessPatterns = 3,
    ResultRoofline = 4,
    ResultTripCounts = 5,
  };

  virtual bool hasCollectedData(int kind) const = 0;
  /// ISA extension bits of the collection machine (`target` 0: the machine).
  virtual std::uint64_t getIsaExtensions(int target) const = 0;
  virtual int getCpuType(int target) const = 0;
  /// Largest vector length of the collection machine, in bits.
  virtual int getMaxVectorLength(int target) const = 0;
  /// A frozen result may use its stored report even when not marked actual.
  virtual bool isResultFrozen() const = 0;
  virtual std::string getResultDir(int target) const = 0;
  /// The main file of the result.
  virtual std::string getResultFile() const = 0;
};

}  // namespace data_abstractions2
