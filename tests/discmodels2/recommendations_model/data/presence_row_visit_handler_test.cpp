#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "data_abstractions2/i_dataset_helper.h"
#include "discmodels2/recommendations_model/data/presence_row_visit_handler.h"
#include "platform/portability/assert.h"
#include "tests/discmodels2/recommendations_model/test_fakes.h"
#include "tests/support/expected_assertions.h"

namespace {

using namespace test_fakes;
using data_models2::PresenceRowVisitHandler;

/// A function row of the call tree and what it calls, built by chaining:
/// fn("sqrt").in("libm.so.6").system(1).calls({...}).
struct Fn {
  std::string name, module = "app", mangledName;
  std::optional<std::int64_t> isSystem = 0, kind = 0;
  std::vector<Fn> children;

  Fn in(std::string m) const { return set(&Fn::module, std::move(m)); }
  Fn mangled(std::string m) const { return set(&Fn::mangledName, std::move(m)); }
  Fn system(std::optional<std::int64_t> v) const { return set(&Fn::isSystem, v); }
  Fn ofKind(std::optional<std::int64_t> v) const { return set(&Fn::kind, v); }
  Fn calls(std::vector<Fn> c) const { return set(&Fn::children, std::move(c)); }

  template <class T>
  Fn set(T Fn::*member, T value) const {
    Fn copy = *this;
    copy.*member = std::move(value);
    return copy;
  }
};

Fn fn(std::string name) {
  Fn f;
  f.name = std::move(name);
  return f;
}

// A user function below a row that must stop the walk; finding it among the
// user functions shows that the walk went on.
Fn marker() { return fn("below_the_stop"); }

/// The facts as short words, so that a table states them compactly and a
/// failure shows the difference: "system", "direct", "user", "scalar",
/// "vector", "libmvec", "vecfn", "cpp", and "user:<name>" per user function.
std::set<std::string> describe(const PresenceRowVisitHandler::Facts& f) {
  std::set<std::string> out;
  if (f.hasSystemFunction) out.insert("system");
  if (f.hasDirectSystemFunction) out.insert("direct");
  if (f.hasUserFunction) out.insert("user");
  if (f.hasScalarMath) out.insert("scalar");
  if (f.hasVectorMath) out.insert("vector");
  if (f.hasLibmvec) out.insert("libmvec");
  if (f.hasVectorFunction) out.insert("vecfn");
  if (f.hasCppNames) out.insert("cpp");
  for (const std::string& name : f.userNames) out.insert("user:" + name);
  return out;
}

class CallTreeBuilder {
 public:
  sptr_t<FakeRow> add(const Fn& fn) {
    auto row = makeRow(next++, 0);
    dataset->add(row);
    if (!fn.name.empty()) dataset->set(row, FunctionName, variant_t(fn.name));
    if (!fn.mangledName.empty()) dataset->set(row, MangledName, variant_t(fn.mangledName));
    dataset->set(row, ModuleName, variant_t(fn.module));
    if (fn.isSystem) dataset->set(row, IsSystemFunction, variant_t(*fn.isSystem));
    if (fn.kind) dataset->set(row, Field24, variant_t(*fn.kind));
    for (const Fn& child : fn.children) row->addChild(add(child));
    return row;
  }

  /// A loop row, as the call tree has them (no function fields), over `callees`.
  sptr_t<FakeRow> loop(const std::vector<Fn>& callees) {
    auto row = makeRow(next++, IMetadata::TypeLoop);
    dataset->add(row);
    for (const Fn& callee : callees) row->addChild(add(callee));
    return row;
  }

  PresenceRowVisitHandler::Facts walk(std::vector<row_t> roots) {
    auto handler = foundation::pool_allocate<PresenceRowVisitHandler>(dataset);
    auto helper = IDatasetHelper::create(dataset, generic_iterator_t<row_t>(std::move(roots)));
    helper->visitRows(nullptr, handler, IDatasetHelper::PreVisit, nullptr);
    return handler->facts();
  }

  sptr_t<FakeDataset> dataset = foundation::pool_allocate<FakeDataset>(CallTree);
  std::uint64_t next = 1;
};

TEST(PresenceWalkTest, ClassesAndWhereTheWalkStops) {
  const std::set<std::string> walkedOn = {"user", "user:below_the_stop"};
  struct Case {
    const char* name;
    std::vector<Fn> callees;  ///< what the loop calls
    std::set<std::string> expected;
  };
  const std::vector<Case> cases = {
      {"math library module stops the walk", {fn("sqrt").in("libm.so.6").system(1).calls({marker()})}, {"scalar"}},
      {"math library entry by name", {fn("__libm_exp_l9").calls({marker()})}, {"scalar"}},
      {"short vector math library", {fn("__tqml_sin4_l9").in("libtqml.so").calls({marker()})}, {"vector"}},
      {"vector math dispatcher module", {fn("sin_dispatch").in("libtqml_dispmd.so").calls({marker()})}, {"vector"}},
      {"C library vector math", {fn("_ZGVdN4v_exp_avx2").in("libmvec.so.1").calls({marker()})}, {"libmvec"}},
      {"vector variant of a math function",
       {fn("SIN").in("libmvec.so.1").mangled("_ZGVdN4v_sin").calls({marker()})},
       {"vector"}},
      {"vector variant of a user function is walked through",
       {fn("kernel").mangled("_ZGVbN4v_kernel").calls({marker()})},
       walkedOn},
      {"compiler-marked vector function",
       {fn("kernel").ofKind(1).calls({marker()})},
       {"vecfn", "user", "user:below_the_stop"}},
      {"row without a function kind passes the walk on", {fn("inner loop").ofKind(std::nullopt).calls({marker()})},
       walkedOn},
      {"math name outside the math library is walked through",
       {fn("cbrtf").calls({marker()})},
       {"scalar", "user", "user:below_the_stop"}},
      {"user function walked through to a system function",
       {fn("compute").calls({fn("write").in("libc.so.6").system(1).calls({marker()})})},
       {"user", "user:compute", "system"}},
      {"function that doesn't say it is no system function",
       {fn("mystery").system(std::nullopt).calls({marker()})},
       {"system"}},
      {"compiler memory helper is ignored", {fn("__vorex_avx_memset").calls({marker()})}, {}},
      {"compiler copy helper is ignored", {fn("_vorex_fast_memcpy").calls({marker()})}, {}},
      {"helper name needs something between its parts", {fn("vorexmemset")}, {"user", "user:vorexmemset"}},
      {"C++ names are noted and lowered", {fn("Solver::Step(int)")}, {"cpp", "user", "user:solver::step(int)"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CallTreeBuilder tree;
    EXPECT_EQ(describe(tree.walk({tree.loop(c.callees)})), c.expected);
  }
}

TEST(PresenceWalkTest, ThreadingRuntimeBits) {
  struct Case {
    const char* name;
    std::vector<Fn> callees;
    unsigned expected;
  };
  const std::vector<Case> cases = {
      {"runtime call", {fn("omp_in_parallel")}, 1},
      {"runtime by its prefix", {fn("__qpr_fork_call")}, 1},
      {"runtime by its module", {fn("barrier_wait").in("libqnmp5.so")}, 1},
      {"thread count call", {fn("omp_get_num_threads")}, 1 | 2},
      {"thread limit call", {fn("omp_get_thread_limit")}, 1 | 2},
      {"lock call", {fn("omp_unset_lock")}, 1 | 4},
      // One row gets the count bit or the lock bit, never both.
      {"count test wins on one row", {fn("omp_get_num_threads_set_lock")}, 1 | 2},
      {"bits accumulate over rows", {fn("omp_set_num_threads"), fn("omp_set_lock")}, 1 | 2 | 4},
      {"runtime stops the walk", {fn("omp_get_max_threads").calls({fn("omp_set_lock")})}, 1 | 2},
      {"lock name outside the runtime", {fn("my_set_lock")}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CallTreeBuilder tree;
    EXPECT_EQ(tree.walk({tree.loop(c.callees)}).threadingFlags, c.expected);
  }
}

TEST(PresenceWalkTest, DirectSystemFunctionOnlyAtTheTopOfTheWalk) {
  CallTreeBuilder tree;
  const Fn system = fn("read").in("libc.so.6").system(1);
  auto top = tree.walk({tree.add(system)});
  EXPECT_TRUE(top.hasSystemFunction);
  EXPECT_TRUE(top.hasDirectSystemFunction);

  auto below = tree.walk({tree.loop({system})});
  EXPECT_TRUE(below.hasSystemFunction);
  EXPECT_FALSE(below.hasDirectSystemFunction);
}

TEST(PresenceWalkTest, EveryRowHandsItsChildrenAMark) {
  CallTreeBuilder tree;
  auto handler = foundation::pool_allocate<PresenceRowVisitHandler>(tree.dataset);
  bool descend = true;
  const row_t row = tree.add(fn("f"));
  EXPECT_FALSE(handler->handlePreVisit(row, variant_bag_t(), descend).empty());
  EXPECT_FALSE(handler->handlePreVisit(nullptr, variant_bag_t(), descend).empty());
  auto withoutDataset = foundation::pool_allocate<PresenceRowVisitHandler>(nullptr);
  EXPECT_FALSE(withoutDataset->handlePreVisit(row, variant_bag_t(), descend).empty());
  EXPECT_FALSE(withoutDataset->facts().hasUserFunction);
  EXPECT_TRUE(descend);
}

TEST(PresenceWalkTest, PostVisitIsNotSupported) {
  test_support::ExpectedAssertions assertions;
  auto handler = foundation::pool_allocate<PresenceRowVisitHandler>(nullptr);
  EXPECT_TRUE(handler->handlePostVisit(nullptr, {}).empty());
  EXPECT_EQ(assertions.fired(), 1u);
}

}  // namespace
