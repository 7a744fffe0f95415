// main() of every test program: GoogleTest, with the library's logs sent
// nowhere unless NIMBEX_TEST_LOG is set (then to standard error), so that a
// test that provokes an assertion or a warning does not fill the output.
//
// A library assertion that fires fails the test it fires in, unless the test
// installed a handler of its own to expect it. The source tree, which some
// tests read, is found from where the binary was built when NIMBEX_SOURCE_DIR
// doesn't name it, so every test program also runs on its own, from any
// directory.

#include <cstdlib>

#include <gtest/gtest.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include "platform/portability/assert.h"

int main(int argc, char** argv) {
  log4cplus::Initializer logging;
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  if (std::getenv("NIMBEX_TEST_LOG")) {
    log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(true));
    appender->setLayout(std::unique_ptr<log4cplus::Layout>(new log4cplus::PatternLayout("%p %c: %m%n")));
    root.addAppender(appender);
    root.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
  } else {
    root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender()));
  }
  ::setenv("NIMBEX_SOURCE_DIR", NIMBEX_TEST_SOURCE_ROOT, 0 /* keep a value that is set */);
  portability::set_assertion_handler([](const portability::assertion_info_t& info) {
    ADD_FAILURE_AT(info.file, info.line) << "library assertion fired in " << info.function << ": "
                                         << info.condition;
  });
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
