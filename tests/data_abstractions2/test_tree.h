#pragma once
// An in-memory tree of rows, and a progress that counts, for tests of code
// that walks datasets or keeps findings on rows.

#include <atomic>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "data_abstractions2/i_dataset.h"
#include "data_abstractions2/i_records.h"
#include "platform/foundation/progress.h"

namespace data_abstractions2::fakes {

/// Children are held strongly, the parent by a raw pointer. Findings are kept
/// in vectors, with a count of the writes made without the row's lock held.
class TreeRow : public INode<IRowSpecification> {
 public:
  explicit TreeRow(std::uint64_t id) : id_(id) {}

  std::uint64_t getId() const override { return id_; }
  sptr_t<IMetadata> getMetadata() const override { return nullptr; }
  node_ptr getParent() const override { return node_ptr(parent_); }
  int getChildren(int filter, int flags, generic_iterator_t<node_ptr>& children) const override {
    lastQuery_ = {filter, flags};
    if (refuseChildren_) {
      // A refusing row may still leave something behind in the iterator.
      children = generic_iterator_t<node_ptr>(std::vector<node_ptr>(children_));
      return -1;
    }
    children = generic_iterator_t<node_ptr>::borrow(children_);
    return static_cast<int>(children_.size());
  }
  row_lock_t lockRow() const override { return std::make_unique<boost::unique_lock<foundation::mutex_t>>(mutex_); }
  generic_iterator_t<sptr_t<IIssueEx>> rowIssues() const override {
    return generic_iterator_t<sptr_t<IIssueEx>>(std::vector<sptr_t<IIssueEx>>(issues_));
  }
  generic_iterator_t<sptr_t<ITrait>> rowTraits() const override {
    return generic_iterator_t<sptr_t<ITrait>>(std::vector<sptr_t<ITrait>>(traits_));
  }
  void addRowIssue(const sptr_t<IIssueEx>& issue) override {
    noteWrite();
    issues_.push_back(issue);
  }
  void clearRowIssues() override {
    noteWrite();
    issues_.clear();
  }
  void addRowTrait(const sptr_t<ITrait>& trait) override {
    noteWrite();
    traits_.push_back(trait);
  }
  void clearRowTraits() override {
    noteWrite();
    traits_.clear();
  }

  const std::vector<sptr_t<IIssueEx>>& issues() const { return issues_; }
  const std::vector<sptr_t<ITrait>>& traits() const { return traits_; }

  std::uint64_t id_;
  INode<IRowSpecification>* parent_ = nullptr;
  std::vector<node_ptr> children_;
  bool refuseChildren_ = false;
  mutable std::pair<int, int> lastQuery_{-7, -7};
  unsigned unlockedWrites_ = 0;

 private:
  // Held means another thread cannot take it.
  void noteWrite() {
    const bool free = std::async(std::launch::async, [this] {
                        if (!mutex_.try_lock()) return false;
                        mutex_.unlock();
                        return true;
                      }).get();
    if (free) ++unlockedWrites_;
  }

  mutable foundation::mutex_t mutex_;
  std::vector<sptr_t<IIssueEx>> issues_;
  std::vector<sptr_t<ITrait>> traits_;
};

/// A row with no tree around it, for code that only passes a row on or locks it.
inline row_t lonelyRow() { return row_t(foundation::pool_allocate<TreeRow>(1)); }

/// Counts the steps it is told of.
class TestProgress : public foundation::IProgress {
 public:
  /// Cancels itself once `cancelAfter` steps are done; 0 means from the start.
  explicit TestProgress(int cancelAfter = -1) : cancelAfter_(cancelAfter), canceled_(cancelAfter == 0) {}
  void start(const char*, double) override {}
  void progressed(int steps) override {
    steps_ += steps;
    if (steps_ == cancelAfter_) cancel();
  }
  void internalProgressed(double) override {}
  void message(const char*) override {}
  void finish() override {}
  void cancel() override { canceled_ = true; }
  double getTotalSteps() const override { return 0; }
  bool isCanceled() const override { return canceled_; }

  int steps_ = 0;
  int cancelAfter_;
  std::atomic<bool> canceled_;
};

/// Rows added in tree order under their parent's id; parent 0 makes a root.
class TreeDataset : public IDataset {
 public:
  explicit TreeDataset(const std::vector<std::pair<std::uint64_t, std::uint64_t>>& links = {}) {
    for (const auto& [id, parent] : links) add(id, parent);
  }
  ~TreeDataset() override {
    // Unlink before the rows go, so that a deep chain is not released
    // recursively.
    for (auto& row : rows_) row->children_.clear();
  }

  TreeRow& add(std::uint64_t id, std::uint64_t parent = 0) {
    rows_.push_back(foundation::pool_allocate<TreeRow>(id));
    TreeRow& row = *rows_.back();
    byId_[id] = &row;
    if (parent == 0) {
      roots_.push_back(rows_.back());
    } else {
      row.parent_ = &this->row(parent);
      this->row(parent).children_.push_back(rows_.back());
    }
    return row;
  }
  TreeRow& row(std::uint64_t id) const {
    auto it = byId_.find(id);
    if (it == byId_.end()) throw std::logic_error("no such row in the fixture");
    return *it->second;
  }
  void addNullRoot() { roots_.push_back(nullptr); }
  /// The rows by id.
  const std::map<std::uint64_t, TreeRow*>& rows() const { return byId_; }

  DataType getDataType() const override { return BottomUp; }
  column_t getColumn(FieldId) const override { return kNoColumn; }
  bool getValue(const row_t&, column_t, int, variant_t&) const override { return false; }
  std::size_t rowCount() const override { return rows_.size(); }
  generic_iterator_t<row_t> getRoots() const override {
    ++rootQueries_;
    return generic_iterator_t<row_t>(std::vector<row_t>(roots_));
  }
  std::uint64_t getRowId(int index) const override { return rows_.at(static_cast<std::size_t>(index))->id_; }
  row_t getRow(std::uint64_t id) const override { return byId_.count(id) ? row_t(byId_.at(id)) : row_t(); }

  mutable int rootQueries_ = 0;

 private:
  std::vector<sptr_t<TreeRow>> rows_;
  std::vector<row_t> roots_;
  std::map<std::uint64_t, TreeRow*> byId_;
};

}  // namespace data_abstractions2::fakes
