#pragma once
// For a test that provokes a library assertion on purpose: while an object
// of this class lives, assertions are counted instead of failing the test.

#include "platform/portability/assert.h"

namespace test_support {

class ExpectedAssertions {
 public:
  ExpectedAssertions()
      : previous_(portability::set_assertion_handler([this](const portability::assertion_info_t&) { ++fired_; })) {}
  ~ExpectedAssertions() { portability::set_assertion_handler(previous_); }
  ExpectedAssertions(const ExpectedAssertions&) = delete;
  ExpectedAssertions& operator=(const ExpectedAssertions&) = delete;

  unsigned fired() const { return fired_; }

 private:
  portability::assertion_handler_t previous_;
  unsigned fired_ = 0;
};

}  // namespace test_support
