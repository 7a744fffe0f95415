#include "platform/model_support/time_measurer.h"

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>


namespace data_models2 {
namespace {

/// Collects the messages of one logger for the life of the object.
class CapturingAppender : public log4cplus::Appender {
 public:
  ~CapturingAppender() override { destructorImpl(); }
  void close() override {}
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

 protected:
  void append(const log4cplus::spi::InternalLoggingEvent& event) override {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(event.getMessage());
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

class TimeMeasurerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    appender_ = log4cplus::SharedAppenderPtr(capture_ = new CapturingAppender);
    logger().addAppender(appender_);
  }
  void TearDown() override { logger().removeAppender(appender_); }
  static log4cplus::Logger logger() { return log4cplus::Logger::getInstance(TimeMeasurer::logger_name); }

  CapturingAppender* capture_ = nullptr;
  log4cplus::SharedAppenderPtr appender_;
};

bool startsWith(const std::string& s, const std::string& prefix) { return s.rfind(prefix, 0) == 0; }
bool endsWith(const std::string& s, const std::string& suffix) {
  return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

TEST_F(TimeMeasurerTest, LogsTheNameTheSecondsAndTheText) {
  TimeMeasurer& m = TimeMeasurer::instance();
  m.startTimeMeasure("Issue detection");
  ASSERT_TRUE(m.finishTimeMeasure("Issue detection", "\nNumber of issues detected 3\n"));
  auto lines = capture_->lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(startsWith(lines[0], "Issue detection: ")) << lines[0];
  EXPECT_TRUE(endsWith(lines[0], " s\nNumber of issues detected 3\n")) << lines[0];
}

TEST_F(TimeMeasurerTest, AFinishWithoutAStartLogsNothing) {
  TimeMeasurer& m = TimeMeasurer::instance();
  EXPECT_FALSE(m.finishTimeMeasure("never started", ""));
  m.startTimeMeasure("once");
  EXPECT_TRUE(m.finishTimeMeasure("once", ""));
  EXPECT_FALSE(m.finishTimeMeasure("once", ""));
  EXPECT_EQ(capture_->lines().size(), 1u);
}

TEST_F(TimeMeasurerTest, ThreadsMeasureTheSameNameApartAndMayFinishElsewhere) {
  TimeMeasurer& m = TimeMeasurer::instance();
  // Two threads time "phase" at once; each finish takes its own start.
  std::vector<std::thread> threads;
  for (const char* text : {" one", " two"}) {
    threads.emplace_back([&m, text] {
      m.startTimeMeasure("phase");
      EXPECT_TRUE(m.finishTimeMeasure("phase", text));
    });
  }
  for (std::thread& t : threads) t.join();
  // Started on a worker, finished here.
  std::thread([&m] { m.startTimeMeasure("handed over"); }).join();
  EXPECT_TRUE(m.finishTimeMeasure("handed over", ""));
  EXPECT_EQ(capture_->lines().size(), 3u);
}

}  // namespace
}  // namespace data_models2
