#pragma once
// `HostResultController`: what a loaded result says about itself: where it
// lives, the machine it was collected on, which data kinds it holds and
// whether it is frozen. Every target answers from the one machine.
//
// Experiments: the result directory's parent is the experiments directory, so
// a snapshot named "tmp" of /proj/run1 is the copy /proj/tmp. A controller
// made by createResultController has no result until `open`, which points it
// at a directory; its experiment is that directory, and deleting it removes
// the directory from disk. `open` is for a controller that no other thread
// uses; everything else only reads.

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

  std::string getExperimentsDir() const override;
  bool makeSnapshot(const std::string& name, int target, int flags) override;
  foundation::sptr_t<data_abstractions2::IResultController> createResultController() const override;
  bool open(const std::string& directory) override;
  foundation::sptr_t<data_abstractions2::IExperiment> getExperiment() const override { return experiment_; }

  int getCodeBits() const { return contents_.codeBits; }

 private:
  Contents contents_;
  foundation::sptr_t<data_abstractions2::IExperiment> experiment_;  ///< set by open
};

}  // namespace host_data
