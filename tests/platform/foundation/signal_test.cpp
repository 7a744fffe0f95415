#include "platform/foundation/signal.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace foundation {
namespace {

class Listener : public subscriber_base_t {
 public:
  Listener(signal_t<int, std::string>& signal, std::vector<std::string>& log) : log_(log) {
    subscribe(signal, [this](int n, std::string s) { log_.push_back(std::to_string(n) + s); });
  }
  void stop() { unsubscribe_all(); }

 private:
  std::vector<std::string>& log_;
};

TEST(SignalTest, DeliversArgumentsToEverySlot) {
  signal_t<int, std::string> signal;
  std::vector<std::string> log;
  Listener a(signal, log);
  Listener b(signal, log);
  signal(1, "x");
  EXPECT_EQ(log, (std::vector<std::string>{"1x", "1x"}));
  EXPECT_EQ(signal.num_slots(), 2u);
}

TEST(SignalTest, SubscriberIsDisconnectedWhenDestroyed) {
  signal_t<int, std::string> signal;
  std::vector<std::string> log;
  auto listener = std::make_unique<Listener>(signal, log);
  Listener stays(signal, log);
  listener.reset();
  EXPECT_EQ(signal.num_slots(), 1u);
  // Would call into the destroyed listener if the connection had outlived it.
  signal(2, "y");
  EXPECT_EQ(log, (std::vector<std::string>{"2y"}));
}

TEST(SignalTest, UnsubscribeAllAndDisconnectAll) {
  signal_t<int, std::string> signal;
  std::vector<std::string> log;
  Listener listener(signal, log);
  listener.stop();
  signal(3, "z");
  EXPECT_TRUE(log.empty());

  int plain = 0;
  signal.connect([&plain](int n, std::string) { plain += n; });
  signal(4, "");
  signal.disconnect_all();
  signal(5, "");
  EXPECT_EQ(plain, 4);
  EXPECT_EQ(signal.num_slots(), 0u);
}

TEST(SignalTest, ListenerMayOutliveSignal) {
  std::vector<std::string> log;
  auto signal = std::make_unique<signal_t<int, std::string>>();
  Listener listener(*signal, log);
  signal.reset();  // the listener's scoped connection must cope on destruction
  SUCCEED();
}

}  // namespace
}  // namespace foundation
