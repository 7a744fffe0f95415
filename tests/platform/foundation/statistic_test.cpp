#include "platform/foundation/statistic.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace foundation {
namespace {

class StatisticTest : public ::testing::Test {
 protected:
  void SetUp() override { statistic_t::get().clear(); }
  void TearDown() override { statistic_t::get().clear(); }
};

TEST_F(StatisticTest, SetOverwritesAndSnapshotIsACopy) {
  statistic_t& stats = statistic_t::get();
  stats.set_value("dm.survey.loops.outer", 3);
  stats.set_value("dm.survey.loops.outer", 5);
  stats.set_value("a", 1);
  std::uint64_t value = 42;
  EXPECT_TRUE(stats.get_value("dm.survey.loops.outer", value));
  EXPECT_EQ(value, 5u);
  value = 42;
  EXPECT_FALSE(stats.get_value("dm.survey.loops.innermost", value));
  EXPECT_EQ(value, 42u);

  auto snapshot = stats.snapshot();
  stats.clear();
  EXPECT_EQ(snapshot.size(), 2u);
  EXPECT_EQ(snapshot.begin()->first, "a");
  EXPECT_TRUE(stats.snapshot().empty());
}

TEST_F(StatisticTest, ConcurrentWritersLoseNoKey) {
  constexpr int kThreads = 4;
  constexpr int kKeys = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int k = 0; k < kKeys; ++k) statistic_t::get().set_value("t" + std::to_string(t) + "." + std::to_string(k), k);
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(statistic_t::get().snapshot().size(), std::size_t(kThreads * kKeys));
}

}  // namespace
}  // namespace foundation
