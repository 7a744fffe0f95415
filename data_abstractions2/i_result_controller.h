#pragma once
// The result on disk: where it lives and what was collected.

#include <cstdint>
#include <string>

#include "data_abstractions2/common.h"

namespace data_abstractions2 {

/// One experiment (a result directory) that a controller has opened.
class IExperiment : public ref_countable_t {
 public:
  virtual std::string getDirectory() const = 0;
  /// Removes the experiment from disk, directory and all; true when it is
  /// gone afterwards. The object refers to nothing after a success.
  virtual bool deleteExperiment() = 0;
};

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

  // Experiments beside the result. The defaults describe a controller that
  // cannot manage experiments: empty answers, false and null, so a caller
  // simply skips the work.

  /// The directory that holds the result directory and its sibling
  /// experiments (snapshots among them); empty when there is none.
  virtual std::string getExperimentsDir() const { return {}; }
  /// Copies the result into the experiments directory under `name`.
  /// `target` and `flags` are 0. False, with nothing left behind, when it
  /// could not be made or an experiment of that name already exists.
  virtual bool makeSnapshot(const std::string& name, int target, int flags) {
    (void)name;
    (void)target;
    (void)flags;
    return false;
  }
  /// A new controller of the same kind that has opened nothing yet, for work
  /// on another experiment that must not disturb this one; null when the
  /// host cannot make one.
  virtual sptr_t<IResultController> createResultController() const { return nullptr; }
  /// Points the controller at the experiment in `directory`. False when
  /// there is none there.
  virtual bool open(const std::string& directory) {
    (void)directory;
    return false;
  }
  /// The experiment the controller has opened; null before a successful open.
  virtual sptr_t<IExperiment> getExperiment() const { return nullptr; }
};

}  // namespace data_abstractions2
