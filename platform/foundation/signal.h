#pragma once
// `signal_t` and `subscriber_base_t`: notifications on Boost.Signals2.
//
// A subscriber that derives from subscriber_base_t and connects through
// `subscribe` is disconnected when it dies, so a signal raised on another
// thread never calls into a destroyed object.

#include <utility>
#include <vector>

#include <boost/signals2/signal.hpp>

namespace foundation {

template <class... Args>
class signal_t {
 public:
  using slot_type = typename boost::signals2::signal<void(Args...)>::slot_type;

  boost::signals2::connection connect(const slot_type& slot) { return signal_.connect(slot); }
  void disconnect_all() { signal_.disconnect_all_slots(); }
  std::size_t num_slots() const { return signal_.num_slots(); }
  void operator()(Args... args) const { signal_(std::forward<Args>(args)...); }

 private:
  mutable boost::signals2::signal<void(Args...)> signal_;
};

class subscriber_base_t {
 public:
  subscriber_base_t() = default;
  subscriber_base_t(const subscriber_base_t&) = delete;
  subscriber_base_t& operator=(const subscriber_base_t&) = delete;
  virtual ~subscriber_base_t() = default;

 protected:
  template <class Signal, class Slot>
  void subscribe(Signal& signal, Slot&& slot) {
    connections_.emplace_back(signal.connect(std::forward<Slot>(slot)));
  }
  void unsubscribe_all() { connections_.clear(); }

 private:
  std::vector<boost::signals2::scoped_connection> connections_;
};

}  // namespace foundation
