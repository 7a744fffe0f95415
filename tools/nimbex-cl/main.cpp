// nimbex-cl: runs the recommendations library on a result directory.

#include <signal.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include "platform/model_support/scheduler.h"
#include "tools/nimbex-cl/options.h"
#include "tools/nimbex-cl/run.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NIMBEX_FREE_AT_EXIT 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define NIMBEX_FREE_AT_EXIT 1
#endif
#endif

#ifndef NIMBEX_VERSION
#define NIMBEX_VERSION "0.0.0"
#endif

namespace {

std::atomic<bool> g_interrupted{false};
std::atomic<int> g_signal{0};

extern "C" void onInterrupt(int signal) {
  g_signal.store(signal);
  g_interrupted.store(true);
}

void installInterruptHandlers() {
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// This tool is the external detector that a host with "python_issues" starts.
// Were it to take the feature from its environment too, it would start
// itself on the snapshot again, and so on: it always scans in-process.
void dropExternalDetectionFeature() {
  const char* features = std::getenv("NIMBEX_FEATURES");
  if (!features) return;
  std::stringstream in(features);
  std::string item;
  std::string kept;
  while (std::getline(in, item, ',')) {
    if (item.find("python_issues") != std::string::npos) continue;
    kept += kept.empty() ? item : "," + item;
  }
  setenv("NIMBEX_FEATURES", kept.c_str(), 1);
}

// Library logs go to standard error: warnings always, timings and the
// like with --verbose.
void configureLogging(bool verbose) {
  log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(true /* stderr */));
  appender->setLayout(std::unique_ptr<log4cplus::Layout>(new log4cplus::PatternLayout("nimbex-cl: %c: %m%n")));
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  root.addAppender(appender);
  root.setLogLevel(verbose ? log4cplus::INFO_LOG_LEVEL : log4cplus::WARN_LOG_LEVEL);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  nimbex_cl::Options options;
  std::string error;
  if (!nimbex_cl::parseOptions(args, options, error)) {
    std::cerr << "nimbex-cl: " << error << "\n";
    return nimbex_cl::ExitUsage;
  }
  if (options.help) {
    std::cout << nimbex_cl::usageText();
    return nimbex_cl::ExitOk;
  }
  if (options.version) {
    std::cout << "nimbex-cl " << NIMBEX_VERSION << "\n";
    return nimbex_cl::ExitOk;
  }
  log4cplus::Initializer logging;
  configureLogging(options.verbose);
  dropExternalDetectionFeature();
  installInterruptHandlers();
  std::shared_ptr<void> result;
  int code = nimbex_cl::runTool(options, std::cout, std::cerr, &g_interrupted, &result);
  // The shell's convention: 128 and the signal that ended the run.
  if (code == nimbex_cl::ExitCancelled && g_signal.load() == SIGTERM) code = nimbex_cl::ExitTerminated;
  // Joins the scheduler's workers before static objects go away.
  if (auto scheduler = data_models2::IScheduler::get()) scheduler->shutdown();
  // Everything is written by now. Freeing a large result row by row takes
  // seconds that give nobody anything; the system takes the memory back
  // whole. Sanitizer builds free it, so that they still see leaks.
#if !defined(NIMBEX_FREE_AT_EXIT)
  static const auto* const kept = new std::shared_ptr<void>(std::move(result));
  (void)kept;
#endif
  return code;
}
