#pragma once
// `HostResultController`: what a loaded result says about itself: where it
// lives, the machine it was collected on, which data kinds it holds and
// whether it is frozen. Every target answers from the one machine.

#include <cstdint>
#include <set>
#include <string>

#include "data_abstractions2/i_result_controller.h"

namespace host_data {

class HostResultController : public data_abstractions2::IResultController {
 public:
  struct Contents {
    std::string directory;
    std::string resultFile;
    std::uint64_t isaExtensions = 0;
    int cpuType = 0;
    int maxVectorLength = 0;  ///< bits
    int codeBits = 64;        ///< decoding mode of the rows' machine code
    std::set<int> collected;  ///< ResultType values
    bool frozen = false;
  };

  explicit HostResultController(Contents contents) : contents_(std::move(contents)) {}

  bool hasCollectedData(int kind) const override { return contents_.collected.count(kind) != 0; }
  std::uint64_t getIsaExtensions(int /*target*/) const override { return contents_.isaExtensions; }
  int getCpuType(int /*target*/) const override { return contents_.cpuType; }
  int getMaxVectorLength(int /*target*/) const override { return contents_.maxVectorLength; }
  bool isResultFrozen() const override { return contents_.frozen; }
  std::string getResultDir(int /*target*/) const override { return contents_.directory; }
  std::string getResultFile() const override { return contents_.resultFile; }

  int getCodeBits() const { return contents_.codeBits; }

 private:
  Contents contents_;
};

}  // namespace host_data
