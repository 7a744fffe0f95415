#include "platform/portability/assert.h"

#include <atomic>
#include <mutex>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace portability {

namespace {

std::mutex& handler_mutex() {
  static std::mutex m;
  return m;
}

assertion_handler_t& handler() {
  static assertion_handler_t h;
  return h;
}

std::atomic<unsigned long> g_count{0};

}  // namespace

assertion_handler_t set_assertion_handler(assertion_handler_t h) {
  std::lock_guard<std::mutex> lock(handler_mutex());
  std::swap(handler(), h);
  return h;
}

unsigned long assertion_count() { return g_count.load(); }

void report_assertion(const char* condition, const char* file, int line, const char* function) {
  g_count.fetch_add(1);
  log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("nimbex.assert"));
  LOG4CPLUS_ERROR(logger, "assertion failed: " << condition << " at " << file << ':' << line << " in " << function);
  assertion_handler_t h;
  {
    std::lock_guard<std::mutex> lock(handler_mutex());
    h = handler();
  }
  if (h) h(assertion_info_t{condition, file, line, function});
}

}  // namespace portability
