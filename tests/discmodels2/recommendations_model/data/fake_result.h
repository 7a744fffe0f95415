#pragma once
// A result of two trees and a loop manager, built row by row in a test.

#include <memory>

#include "discmodels2/recommendations_model/data/data_provider.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"

namespace test_fakes {

struct FakeResult {
  FakeResult() {
    model->datasets[BottomUp] = bottomUp;
    model->datasets[CallTree] = callTree;
    model->loopManager = manager;
  }

  /// A top-level row of the bottom-up tree.
  sptr_t<FakeRow> addRow(std::uint64_t id, IMetadata::type_t type = IMetadata::TypeLoop) {
    auto row = makeRow(id, type);
    bottomUp->add(row, true);
    return row;
  }
  /// A top-level row of the call tree.
  sptr_t<FakeRow> addCall(std::uint64_t id, long long funcInstIdx) {
    auto row = makeRow(id, 0);
    callTree->add(row, true);
    callTree->set(row, FuncInstIdx, variant_t(static_cast<std::int64_t>(funcInstIdx)));
    return row;
  }

  std::unique_ptr<data_models2::DataProvider> provider() const {
    return std::make_unique<data_models2::DataProvider>(model, controller, nullptr);
  }

  sptr_t<FakeViewModel> model = foundation::pool_allocate<FakeViewModel>();
  sptr_t<FakeDataset> bottomUp = foundation::pool_allocate<FakeDataset>(BottomUp);
  sptr_t<FakeDataset> callTree = foundation::pool_allocate<FakeDataset>(CallTree);
  sptr_t<FakeLoopManager> manager = foundation::pool_allocate<FakeLoopManager>();
  sptr_t<FakeResultController> controller = foundation::pool_allocate<FakeResultController>();
};

}  // namespace test_fakes
