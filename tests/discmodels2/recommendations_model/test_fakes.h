#pragma once
// Small in-memory stand-ins for the host's result: rows, datasets, a loop
// manager and a view model, enough to drive the data access layer and the
// scan driver without files; and a temporary directory for the tests that
// need files all the same.

#include <stdlib.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_loop_manager.h"
#include "data_abstractions2/i_result_controller.h"
#include "data_abstractions2/i_surveying_view_model.h"
#include "discmodels2/recommendations_model/core/detector.h"
#include "platform/foundation/progress.h"

namespace test_fakes {

using namespace data_abstractions2;

class FakeMetadata : public IMetadata {
 public:
  explicit FakeMetadata(type_t type) : type(type) {}
  type_t getType() const override { return type; }
  type_t type;
};

class FakeRow : public INode<IRowSpecification> {
 public:
  FakeRow(std::uint64_t id, IMetadata::type_t type, bool withMetadata)
      : id(id), metadata(withMetadata ? foundation::pool_allocate<FakeMetadata, IMetadata>(type) : nullptr) {}

  std::uint64_t getId() const override { return id; }
  sptr_t<IMetadata> getMetadata() const override { return metadata; }
  node_ptr getParent() const override { return node_ptr(parent); }
  int getChildren(int, int, generic_iterator_t<node_ptr>& out) const override {
    if (childrenUnavailable) return -1;
    out = generic_iterator_t<node_ptr>(std::vector<node_ptr>(children));
    return static_cast<int>(children.size());
  }
  row_lock_t lockRow() const override { return std::make_unique<boost::unique_lock<boost::recursive_mutex>>(mutex); }
  generic_iterator_t<sptr_t<IIssueEx>> rowIssues() const override {
    return generic_iterator_t<sptr_t<IIssueEx>>(std::vector<sptr_t<IIssueEx>>(issues));
  }
  generic_iterator_t<sptr_t<ITrait>> rowTraits() const override {
    return generic_iterator_t<sptr_t<ITrait>>(std::vector<sptr_t<ITrait>>(traits));
  }
  void addRowIssue(const sptr_t<IIssueEx>& issue) override { issues.push_back(issue); }
  void clearRowIssues() override { issues.clear(); }
  void addRowTrait(const sptr_t<ITrait>& trait) override { traits.push_back(trait); }
  void clearRowTraits() override { traits.clear(); }

  void addChild(const sptr_t<FakeRow>& child) {
    child->parent = this;
    children.push_back(child);
  }

  std::uint64_t id;
  sptr_t<IMetadata> metadata;
  FakeRow* parent = nullptr;
  std::vector<node_ptr> children;
  bool childrenUnavailable = false;
  std::vector<sptr_t<IIssueEx>> issues;
  std::vector<sptr_t<ITrait>> traits;
  mutable boost::recursive_mutex mutex;
};

inline sptr_t<FakeRow> makeRow(std::uint64_t id, IMetadata::type_t type = IMetadata::TypeLoop,
                               bool withMetadata = true) {
  return foundation::pool_allocate<FakeRow>(id, type, withMetadata);
}

/// Cells are addressed by row object and field id; the column of a field is
/// its id.
class FakeDataset : public IDataset {
 public:
  explicit FakeDataset(DataType type) : type(type) {}

  DataType getDataType() const override { return type; }
  column_t getColumn(FieldId id) const override { return static_cast<column_t>(id); }
  bool getValue(const row_t& row, column_t column, int, variant_t& value) const override {
    auto r = cells.find(row.get());
    if (r == cells.end()) return false;
    auto c = r->second.find(column);
    if (c == r->second.end()) return false;
    value = c->second;
    return true;
  }
  std::size_t rowCount() const override { return rows.size(); }
  generic_iterator_t<row_t> getRoots() const override { return generic_iterator_t<row_t>(std::vector<row_t>(roots)); }
  std::uint64_t getRowId(int index) const override {
    return index >= 0 && static_cast<std::size_t>(index) < rows.size() ? rows[index]->getId() : ~0ull;
  }
  row_t getRow(std::uint64_t id) const override {
    for (const auto& row : rows) {
      if (row->getId() == id) return row;
    }
    return nullptr;
  }

  void set(const row_t& row, FieldId id, const variant_t& value) { cells[row.get()][id] = value; }
  /// Registers a row for getRowId/getRow and, when `root`, as a top row.
  void add(const row_t& row, bool root = false) {
    rows.push_back(row);
    if (root) roots.push_back(row);
  }

  DataType type;
  std::map<const void*, std::map<column_t, variant_t>> cells;
  std::vector<row_t> rows;
  std::vector<row_t> roots;
};

class FakeLoopManager : public ILoopManager {
 public:
  bool getSourceTripCounts(const row_t&, const sptr_t<IDataset>&, FieldId id,
                           SourceTripCountsData& data) const override {
    auto it = tripCounts.find(id);
    if (it == tripCounts.end()) return false;
    data.value = it->second;
    return true;
  }
  sptr_t<IDataset> getTable(int kind) const override {
    return kind == TableAccessPatterns ? table : kind == TableDependencies ? dependencyTable : nullptr;
  }
  void getIndices(const sptr_t<IDataset>&, const row_t&, int kind, std::vector<int>& out) const override {
    out = kind == TableDependencies ? dependencyIndices : indices;
  }
  sptr_t<ITableView> getView(const std::vector<int>&, int kind) const override {
    return kind == TableDependencies ? dependencyView : nullptr;
  }
  bool getGathers(Gathers& out) const override {
    out.gathers = gathers;
    return gathersValid;
  }
  std::vector<NTSCandidatesEvictionsInfo> getNtsCandidates(const row_t&, const sptr_t<IDataset>&,
                                                           int kind) const override {
    ntsKind = kind;
    return nts;
  }
  bool getMedianSourceTripCount(const row_t& row, const sptr_t<IDataset>&, std::int64_t& median) const override {
    auto it = medians.find(row.get());
    if (it == medians.end()) return false;
    median = it->second;
    return true;
  }

  /// Answers of getSourceTripCounts by field id; a missing id fails.
  std::map<FieldId, std::uint64_t> tripCounts;
  sptr_t<IDataset> table;
  std::vector<int> indices;
  std::vector<Gather> gathers;
  bool gathersValid = false;
  /// Answers of getMedianSourceTripCount by row; a missing row fails.
  std::map<const void*, std::int64_t> medians;
  /// The dependency table, the records of it that every row has, and their view.
  sptr_t<IDataset> dependencyTable;
  std::vector<int> dependencyIndices;
  sptr_t<ITableView> dependencyView;
  /// The non-temporal store candidates, and the kind of table last asked for them.
  std::vector<NTSCandidatesEvictionsInfo> nts;
  mutable int ntsKind = -1;
};

class FakeThrottlingModel : public IAVX512FreqThrottlingModel {
 public:
  int diagnose(const row_t& row) const override {
    auto it = byRow.find(row.get());
    return it == byRow.end() ? 0 : it->second;
  }
  std::map<const void*, int> byRow;
};

class FakeViewModel : public ISurveyingViewModel {
 public:
  sptr_t<IDataset> getDataset(int kind) const override {
    auto it = datasets.find(kind);
    return it == datasets.end() ? nullptr : it->second;
  }
  sptr_t<ILoopManager> getLoopManager() const override { return loopManager; }
  generic_iterator_t<RoofItem> getRoofItems() const override { return {}; }
  bool getFileLocators(int kind, std::vector<FileLocator>& out) const override {
    if (kind != LocatorCLibrary || !locators) return false;
    out = *locators;
    return true;
  }
  ProgramMetrics getProgramMetrics() const override { return metrics; }
  sptr_t<IAVX512FreqThrottlingModel> getAVX512FreqThrottlingModel() const override { return throttling; }
  CodeBlock getCodeBlock(int, const row_t&) const override { return {}; }
  bool getInstructionMix(const row_t&, int kind, InstructionMix& mix) const override {
    auto it = mixes.find(kind);
    if (it == mixes.end()) return false;
    mix = it->second;
    return true;
  }

  std::map<int, sptr_t<IDataset>> datasets;
  sptr_t<ILoopManager> loopManager;
  std::optional<std::vector<FileLocator>> locators;
  ProgramMetrics metrics;
  sptr_t<IAVX512FreqThrottlingModel> throttling;
  std::map<int, InstructionMix> mixes;
};

class FakeResultController : public IResultController {
 public:
  bool hasCollectedData(int) const override { return false; }
  std::uint64_t getIsaExtensions(int) const override { return 0; }
  int getCpuType(int) const override { return 0; }
  int getMaxVectorLength(int) const override { return 0; }
  bool isResultFrozen() const override { return false; }
  std::string getResultDir(int) const override { return resultDir; }
  std::string getResultFile() const override { return {}; }
  std::string resultDir;
};

/// An issue detector that returns prepared issues for prepared rows.
class ScriptedIssueDetector : public data_models2::issues::IssueDetector {
 public:
  ScriptedIssueDetector() : Detector(nullptr) {}
  bool detect(row_t row, data_models2::issues::IssueList out) const override {
    ++calls;
    auto it = byRow.find(row.get());
    if (it == byRow.end() || it->second.empty()) return false;
    out->insert(out->end(), it->second.begin(), it->second.end());
    return true;
  }
  std::map<const void*, std::vector<sptr_t<IIssueEx>>> byRow;
  mutable int calls = 0;
};

/// A trait detector that returns prepared traits for prepared rows.
class ScriptedTraitDetector : public data_models2::issues::TraitDetector {
 public:
  ScriptedTraitDetector() : Detector(nullptr) {}
  bool detect(row_t row, data_models2::issues::TraitList out) const override {
    auto it = byRow.find(row.get());
    if (it == byRow.end() || it->second.empty()) return false;
    out->insert(out->end(), it->second.begin(), it->second.end());
    return true;
  }
  std::map<const void*, std::vector<sptr_t<ITrait>>> byRow;
};

/// A provider that answers every question with "nothing": no lines, no
/// roofs, not hot. Tests derive from it and answer only what they script.
class StubProvider : public data_models2::IDataProvider {
 public:
  const data_models2::CommonData& getData(const row_t&) const override { return data; }
  boost::shared_ptr<assembler_analysis::AssemblerLines> getAssemblerLines(
      const row_t&, const boost::shared_ptr<assembler_analysis::RegisterPressure>&) const override {
    return {};
  }
  std::shared_ptr<data_models2::Roofs> getRoofs() const override { return {}; }
  std::shared_ptr<data_models2::Roofs> getRoofs(int, int, int, int) const override { return {}; }
  ProgramMetrics getProgramMetrics() const override { return {}; }
  generic_iterator_t<row_t> getBottomUpChildren(const row_t&) const override { return {}; }
  sptr_t<data_models2::AssemblerRowVisitHandler> visitRowsForAssembler(const row_t&, int) const override {
    return nullptr;
  }
  bool fillCommonData(const row_t&) const override { return true; }
  bool isLoopMatchThreshold(const row_t&, double) const override { return false; }
  bool isLoopInsideRange(const row_t&, double, double) const override { return false; }
  int getAVX512ShadowDiagnostic(const row_t&) const override { return 0; }

  data_models2::CommonData data;
};

/// The issue ids every row of `dataset` holds, by row id.
inline std::map<std::uint64_t, std::vector<std::string>> issueIdsByRow(const sptr_t<IDataset>& dataset) {
  std::map<std::uint64_t, std::vector<std::string>> out;
  for (int i = 0; i < static_cast<int>(dataset->rowCount()); ++i) {
    const row_t row = dataset->getRow(dataset->getRowId(i));
    auto& ids = out[row->getId()];
    const auto lock = row->lockRow();
    for (auto it = row->rowIssues(); !it.at_end(); it.next()) ids.push_back(it.current()->getStringId());
  }
  return out;
}

// Only a guard against a hung test: every wait on another thread ends on a
// signal.
constexpr std::chrono::seconds kHangGuard{120};

/// The host's progress object: records what a task reports and, when asked,
/// holds the walk at a step until the task is cancelled.
class RecordingProgress : public foundation::IProgress {
 public:
  explicit RecordingProgress(int holdAtStep = 0) : holdAtStep_(holdAtStep) {}

  void start(const char* title, double total) override {
    std::lock_guard<std::mutex> lock(mutex_);
    title_ = title;
    totals_.push_back(total);
  }
  void progressed(int steps) override {
    std::unique_lock<std::mutex> lock(mutex_);
    steps_ += steps;
    if (holdAtStep_ > 0 && steps_ == holdAtStep_) {
      held_ = true;
      changed_.notify_all();
      changed_.wait_for(lock, kHangGuard, [&] { return canceled_; });
    }
  }
  void internalProgressed(double) override {}
  void message(const char*) override {}
  void finish() override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++finishes_;
  }
  void cancel() override {
    std::lock_guard<std::mutex> lock(mutex_);
    canceled_ = true;
    changed_.notify_all();
  }
  double getTotalSteps() const override { return 0.0; }
  bool isCanceled() const override { return read(canceled_); }

  /// Whether the walk came to the step to hold at.
  bool waitHeld() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kHangGuard, [&] { return held_; });
  }
  std::string title() const { return read(title_); }
  std::vector<double> totals() const { return read(totals_); }
  int steps() const { return read(steps_); }
  int finishes() const { return read(finishes_); }

 private:
  template <class T>
  T read(const T& member) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return member;
  }

  const int holdAtStep_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string title_;
  std::vector<double> totals_;
  int steps_ = 0, finishes_ = 0;
  bool held_ = false, canceled_ = false;
};

/// A fresh directory, removed with all it holds at the end of the scope.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nimbex-test-XXXXXX").string();
    if (::mkdtemp(pattern.data())) path = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove_all(path, ignored);
  }
  std::string str() const { return path.string(); }
  bool has(const char* name) const { return std::filesystem::exists(path / name); }

  std::filesystem::path path;
};

}  // namespace test_fakes
