#pragma once
// The result as the library sees it: trees, roofs, code, mixes.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_loop_manager.h"

namespace data_abstractions2 {

/// A roof of the machine: a memory bandwidth or a compute peak.
struct RoofItem {
  std::string name;
  std::uint64_t value = 0;
  std::uint64_t secondWord = 0;
};

/// A file that the profiled program loaded.
struct FileLocator {
  std::string path;
};

enum FileLocatorKind : int { LocatorModules = 1, LocatorSources = 2, LocatorCLibrary = 3 };

struct ProgramMetrics {
  double elapsedTime = 0.0;
  double cpuTime = 0.0;
  double gflops = 0.0;
  double gintops = 0.0;
  std::uint64_t threadCount = 0;
};

/// Machine code of a row: bytes and the address of the first one.
struct CodeBlock {
  std::uint64_t address = 0;
  std::vector<std::uint8_t> bytes;
  bool empty() const { return bytes.empty(); }
};

/// Roofline figures of a row: what it executed and moved by itself and, when
/// call stacks were collected, together with its callees.
struct RowRoofline {
  std::uint64_t operations = 0;
  std::uint64_t bytes = 0;
  std::uint64_t totalOperations = 0;
  std::uint64_t totalBytes = 0;
  int opsType = 0;  ///< 0 floating point, 1 integer, 2 mixed
  bool hasCallStacks = false;
};

/// Instruction mix kinds: 0 summary, 1 static, 3 dynamic.
enum InstructionMixType : int { MixSummary = 0, MixStatic = 1, MixDynamic = 3 };
using mix_column_t = int;
using InstructionMix = std::map<mix_column_t, variant_t>;

/// Per-loop diagnosis of 512-bit frequency throttling.
class IAVX512FreqThrottlingModel : public ref_countable_t {
 public:
  virtual int diagnose(const row_t& row) const = 0;
};

class ISurveyingViewModel : public ref_countable_t {
 public:
  virtual sptr_t<IDataset> getDataset(int kind) const = 0;
  virtual sptr_t<ILoopManager> getLoopManager() const = 0;
  virtual generic_iterator_t<RoofItem> getRoofItems() const = 0;
  virtual bool getFileLocators(int kind, std::vector<FileLocator>& locators) const = 0;
  virtual ProgramMetrics getProgramMetrics() const = 0;
  virtual sptr_t<IAVX512FreqThrottlingModel> getAVX512FreqThrottlingModel() const = 0;
  /// Machine code of a row of tree `kind`; empty when there is none.
  virtual CodeBlock getCodeBlock(int kind, const row_t& row) const = 0;
  /// An instruction mix of a row; false when the row has none of that kind.
  virtual bool getInstructionMix(const row_t& row, int kind, InstructionMix& mix) const = 0;
  /// Roofline figures of a row; false when the row has none.
  virtual bool getRowRoofline(const row_t& row, RowRoofline& roofline) const {
    (void)row;
    (void)roofline;
    return false;
  }
};

}  // namespace data_abstractions2
