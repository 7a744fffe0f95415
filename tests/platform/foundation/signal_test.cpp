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

TEST(SignalTest, DeliversToEverySlotUntilUnsubscribed) {
  signal_t<int, std::string> signal;
  std::vector<std::string> log;
  Listener a(signal, log);
  Listener b(signal, log);
  int plain = 0;
  signal.connect([&plain](int n, std::string) { plain += n; });
  signal(1, "x");
  EXPECT_EQ(log, (std::vector<std::string>{"1x", "1x"}));

  a.stop();
  signal(2, "y");
  EXPECT_EQ(log, (std::vector<std::string>{"1x", "1x", "2y"}));
  signal.disconnect_all();
  signal(5, "");
  EXPECT_EQ(plain, 3);
  EXPECT_EQ(signal.num_slots(), 0u);
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

  // The other way round: the listener's scoped connection must cope with a
  // signal that is already gone.
  auto shortLived = std::make_unique<signal_t<int, std::string>>();
  Listener outlives(*shortLived, log);
  shortLived.reset();
}

}  // namespace
}  // namespace foundation
