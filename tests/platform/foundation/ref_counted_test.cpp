#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/foundation/ref_counted.h"
#include "platform/foundation/sptr.h"

namespace foundation {
namespace {

class IProbe : public ref_countable_t {
 public:
  virtual int value() const = 0;
};

class Probe : public IProbe {
 public:
  Probe(int value, std::atomic<int>* destroyed) : value_(value), destroyed_(destroyed) {}
  ~Probe() override { destroyed_->fetch_add(1); }
  int value() const override { return value_; }

 private:
  int value_;
  std::atomic<int>* destroyed_;
};

long useCount(const sptr_t<IProbe>& p) { return static_cast<const ref_counted_t<Probe>*>(p.get())->use_count(); }

TEST(RefCountedTest, PoolAllocateStartsAtOneAndDeletesOnce) {
  std::atomic<int> destroyed{0};
  {
    sptr_t<IProbe> p = pool_allocate<Probe, IProbe>(7, &destroyed);
    EXPECT_EQ(p->value(), 7);
    EXPECT_EQ(useCount(p), 1);
    sptr_t<IProbe> q = p;
    EXPECT_EQ(useCount(p), 2);
  }
  EXPECT_EQ(destroyed.load(), 1);
}

TEST(RefCountedTest, CountSurvivesConcurrentCopies) {
  std::atomic<int> destroyed{0};
  sptr_t<IProbe> shared = pool_allocate<Probe, IProbe>(1, &destroyed);
  constexpr int kThreads = 4;
  constexpr int kRounds = 100000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&shared] {
      for (int i = 0; i < kRounds; ++i) {
        sptr_t<IProbe> copy = shared;
        sptr_t<IProbe> another = copy;
        another.reset();
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(useCount(shared), 1);
  EXPECT_EQ(destroyed.load(), 0);
  shared.reset();
  EXPECT_EQ(destroyed.load(), 1);
}

TEST(RefCountedTest, LastReleaseOnAnotherThreadDeletes) {
  std::atomic<int> destroyed{0};
  constexpr int kThreads = 4;
  sptr_t<IProbe> p = pool_allocate<Probe, IProbe>(1, &destroyed);
  std::vector<sptr_t<IProbe>> copies(kThreads, p);
  p.reset();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back([&copies, t] { copies[t].reset(); });
  for (auto& t : threads) t.join();
  EXPECT_EQ(destroyed.load(), 1);
}

}  // namespace
}  // namespace foundation
