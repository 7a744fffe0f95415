// What fillCommonData learns from the calls beneath a loop and from the
// loop's dependency records.

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "discmodels2/recommendations_model/data/data_provider.h"
#include "discmodels2/recommendations_model/data/presence_row_visit_handler.h"
#include "platform/host_data/result_loader.h"
#include "platform/model_support/dependency_helpers.h"
#include "tests/discmodels2/recommendations_model/data/fake_result.h"

namespace {

using namespace test_fakes;
using data_models2::CommonData;

constexpr column_t kDependencyColumn = 7;

class FakeTableView : public ITableView {
 public:
  column_t getColumn(FieldId id) const override {
    return id == DependencyField && hasColumn ? kDependencyColumn : kNoColumn;
  }
  std::size_t rowCount() const override { return cells.size(); }
  bool getValue(std::size_t index, column_t column, variant_t& value) const override {
    if (column != kDependencyColumn || index >= cells.size() || cells[index].empty()) return false;
    value = cells[index];
    return true;
  }
  bool hasColumn = true;
  std::vector<variant_t> cells;
};

struct CallFactsResult : FakeResult {
  /// A bottom-up loop and its one call-tree row, joined by `funcInstIdx`.
  sptr_t<FakeRow> addLoop(std::uint64_t id, long long funcInstIdx) {
    auto loop = addRow(id);
    bottomUp->set(loop, FuncInstIdx, variant_t(static_cast<std::int64_t>(funcInstIdx)));
    callSite = addCall(id + 1000, funcInstIdx);
    return loop;
  }

  /// A function row under the call-tree row of the loop.
  sptr_t<FakeRow> addCallee(const char* name, const char* module, std::int64_t isSystem = 0,
                            std::int64_t kind = 0, const sptr_t<FakeRow>& parent = nullptr) {
    auto row = makeRow(nextCallee++, 0);
    callTree->add(row);
    callTree->set(row, FunctionName, variant_t(name));
    callTree->set(row, ModuleName, variant_t(module));
    callTree->set(row, IsSystemFunction, variant_t(isSystem));
    callTree->set(row, Field24, variant_t(kind));
    (parent ? parent : callSite)->addChild(row);
    return row;
  }

  void setDependencies(std::vector<variant_t> cells) {
    manager->dependencyTable = foundation::pool_allocate<FakeDataset>(DataTypeNone);
    manager->dependencyIndices = {0};
    manager->dependencyView = view = foundation::pool_allocate<FakeTableView>();
    view->cells = std::move(cells);
  }

  sptr_t<FakeTableView> view;
  sptr_t<FakeRow> callSite;
  std::uint64_t nextCallee = 5000;
};

TEST(CallFactsTest, FactsOfTheWalkReachTheRecord) {
  CallFactsResult result;
  auto loop = result.addLoop(1, 5);
  result.addCallee("sqrt", "libm.so.6", 1);
  auto helper = result.addCallee("Grid::helper", "heat");
  result.addCallee("write", "libc.so.6", 1, 0, helper);
  result.addCallee("omp_set_lock", "libqnmp5.so");
  result.addCallee("_ZGVdN4v_exp", "libmvec.so.1");
  result.addCallee("kernel_simd", "heat", 0, 1);
  result.bottomUp->set(loop, MangledName, variant_t("_Z4loopv"));

  auto provider = result.provider();
  const CommonData& d = provider->getData(loop);
  EXPECT_TRUE(d.callsMathLibrary);
  EXPECT_EQ(d.threadingCallFlags, 1u | 4u);
  EXPECT_TRUE(d.callsSystemFunctions);
  EXPECT_FALSE(d.callsSystemFunctionsDirectly);
  EXPECT_TRUE(d.callsUserFunctions);
  EXPECT_TRUE(d.callsLibmvec);
  EXPECT_TRUE(d.callsVectorFunctions);
  EXPECT_TRUE(d.hasCppNames);
  EXPECT_EQ(d.userFunctionNames, (std::set<std::string>{"grid::helper"}));
  EXPECT_EQ(d.mangledName, "_Z4loopv");
}

TEST(CallFactsTest, VectorMathOutweighsScalarMath) {
  // Scalar math, vector math, whether the record says it calls math.
  const std::tuple<bool, bool, bool> cases[] = {
      {true, false, true}, {false, true, false}, {true, true, false}, {false, false, false}};
  for (const auto& [scalar, vector, expected] : cases) {
    SCOPED_TRACE(testing::Message() << "scalar " << scalar << ", vector " << vector);
    CallFactsResult result;
    auto loop = result.addLoop(1, 5);
    if (scalar) result.addCallee("expf", "libm.so.6", 1);
    if (vector) result.addCallee("__tqml_expf8", "libtqml.so");
    EXPECT_EQ(result.provider()->getData(loop).callsMathLibrary, expected);
  }
}

TEST(CallFactsTest, WithoutCallTreeTheRecordStaysHalfFilled) {
  CallFactsResult result;
  auto loop = result.addLoop(1, 5);
  result.addCallee("sqrt", "libm.so.6", 1);
  result.bottomUp->set(loop, SourceFile, variant_t("/src/a.f90"));
  result.bottomUp->set(loop, SelfTime, variant_t(2.0));
  result.bottomUp->set(loop, MangledName, variant_t("loop_"));
  result.bottomUp->set(loop, Field392, variant_t(std::int64_t{9}));
  result.setDependencies({variant_t(data_models2::getDependencyStr(data_models2::DependencyReadAfterWrite))});
  result.model->locators = std::vector<FileLocator>{{"/lib/libc-2.31.so"}};
  result.model->datasets.erase(CallTree);

  auto provider = result.provider();
  EXPECT_FALSE(provider->fillCommonData(loop));
  const CommonData& d = provider->getData(loop);
  EXPECT_EQ(d.selfTime, 2.0);
  EXPECT_FALSE(d.callsMathLibrary);
  EXPECT_FALSE(d.isFortran);
  EXPECT_EQ(d.mangledName, "");
  EXPECT_EQ(d.dependencyPresence, 0);
  EXPECT_TRUE(d.glibcVersions.empty());
  EXPECT_EQ(d.field392, 0);
  EXPECT_EQ(result.manager->ntsKind, -1);
}

TEST(CallFactsTest, LoopWithoutCallTreeRowsStillCompletesTheFill) {
  CallFactsResult result;
  auto loop = result.addRow(1);
  result.bottomUp->set(loop, FuncInstIdx, variant_t(std::int64_t{42}));
  result.bottomUp->set(loop, SourceFile, variant_t("/src/a.F90"));
  result.bottomUp->set(loop, Field392, variant_t(std::int64_t{9}));
  result.setDependencies({variant_t("Reduction")});
  result.model->locators = std::vector<FileLocator>{{"/lib/libc-2.31.so"}};
  result.manager->nts = {{"NT-stores", "out", 12}};

  auto provider = result.provider();
  EXPECT_TRUE(provider->fillCommonData(loop));
  const CommonData& d = provider->getData(loop);
  EXPECT_FALSE(d.callsUserFunctions);
  EXPECT_FALSE(d.callsSystemFunctions);
  EXPECT_EQ(d.threadingCallFlags, 0u);
  EXPECT_TRUE(d.isFortran);
  EXPECT_EQ(d.dependencyPresence, 3);
  EXPECT_EQ(d.glibcVersions, (std::set<data_models2::GlibcVer>{{2, 31}}));
  ASSERT_EQ(d.ntsCandidates.size(), 1u);
  EXPECT_EQ(d.ntsCandidates[0].variableName, "out");
  EXPECT_EQ(result.manager->ntsKind, TableAccessPatterns);
  EXPECT_EQ(d.field392, 9);
}

TEST(CallFactsTest, VisitTargetRowsNeedsACallTree) {
  CallFactsResult result;
  auto loop = result.addLoop(1, 5);
  EXPECT_TRUE(result.provider()->visitTargetRows(loop));
  EXPECT_FALSE(data_models2::DataProvider(nullptr, nullptr, nullptr).visitTargetRows(loop));
  result.model->datasets.erase(CallTree);
  EXPECT_FALSE(result.provider()->visitTargetRows(loop));
}

TEST(DependencyPresenceTest, VerdictsFromTheLoopsRecords) {
  using data_models2::getDependencyStr;
  const variant_t raw(getDependencyStr(data_models2::DependencyReadAfterWrite));
  const variant_t war(getDependencyStr(data_models2::DependencyWriteAfterRead));
  const variant_t waw(getDependencyStr(data_models2::DependencyWriteAfterWrite));
  const variant_t rar(getDependencyStr(data_models2::DependencyReadAfterRead));
  const variant_t none(getDependencyStr(data_models2::DependencyNone));
  const variant_t reduction(getDependencyStr(data_models2::DependencyReduction));

  enum Setup { NoManager, NoTable, NoIndices, NoView, NoColumn, Records };
  struct Case {
    const char* name;
    Setup setup;
    std::vector<variant_t> cells;
    int expected;
  };
  const std::vector<Case> cases = {
      {"no loop manager", NoManager, {}, 0},
      {"no dependency table", NoTable, {}, 0},
      {"no records for the loop", NoIndices, {}, 0},
      {"records without a view", NoView, {}, 1},
      {"view without the dependency column", NoColumn, {raw}, 1},
      {"no records in the view", Records, {}, 1},
      {"nothing found", Records, {none}, 1},
      {"input dependency only", Records, {rar, none}, 1},
      {"unreadable and non-text cells", Records, {variant_t(), variant_t(0)}, 1},
      {"texts compare whole", Records, {variant_t("read after write dependency")}, 1},
      {"reductions only", Records, {reduction, none, reduction}, 3},
      {"true dependency", Records, {raw}, 2},
      {"anti dependency", Records, {war}, 2},
      {"output dependency", Records, {waw}, 2},
      {"dependency after a reduction", Records, {reduction, waw}, 2},
      {"reduction after a dependency", Records, {war, reduction}, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CallFactsResult result;
    auto loop = result.addLoop(1, 5);
    result.setDependencies(c.cells);
    if (c.setup == NoManager) result.model->loopManager = nullptr;
    if (c.setup == NoTable) result.manager->dependencyTable = nullptr;
    if (c.setup == NoIndices) result.manager->dependencyIndices.clear();
    if (c.setup == NoView) result.manager->dependencyView = nullptr;
    if (c.setup == NoColumn) result.view->hasColumn = false;
    auto provider = result.provider();
    EXPECT_EQ(provider->checkDependencyPresence(loop), c.expected);
    EXPECT_EQ(provider->getData(loop).dependencyPresence, c.expected);
  }
}

// The shipped example, read from disk: its dependency texts must be the ones
// the library compares against, and its math call must be found.
TEST(CallFactsTest, ExampleResultEndToEnd) {
  const char* root = std::getenv("NIMBEX_SOURCE_DIR");
  host_data::LoadResult loaded = host_data::loadResultDirectory(std::string(root ? root : ".") + "/examples/basic");
  ASSERT_TRUE(loaded.ok()) << loaded.error();
  const auto& models = loaded.models();
  data_models2::DataProvider provider(models.surveyModel, models.resultController, nullptr);
  sptr_t<IDataset> bottomUp = models.surveyModel->getDataset(BottomUp);

  const CommonData& normSum = provider.getData(bottomUp->getRow(8));
  EXPECT_EQ(normSum.dependencyPresence, 2);
  EXPECT_TRUE(normSum.callsMathLibrary);
  EXPECT_FALSE(normSum.callsUserFunctions);
  EXPECT_FALSE(normSum.isFortran);
  EXPECT_EQ(normSum.glibcVersions, (std::set<data_models2::GlibcVer>{{2, 31}}));

  const CommonData& relaxOuter = provider.getData(bottomUp->getRow(2));
  EXPECT_EQ(relaxOuter.dependencyPresence, 1);
  EXPECT_FALSE(relaxOuter.callsMathLibrary);
  EXPECT_FALSE(relaxOuter.callsUserFunctions);

  EXPECT_EQ(provider.getData(bottomUp->getRow(3)).dependencyPresence, 0);
}

}  // namespace
