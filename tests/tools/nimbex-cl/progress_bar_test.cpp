#include "tools/nimbex-cl/progress_bar.h"

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace nimbex_cl {
namespace {

std::string contents(std::FILE* file) {
  std::fflush(file);
  std::rewind(file);
  std::string text;
  char buffer[256];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, n);
  return text;
}

TEST(ProgressBar, DrawsOnlyWhenEnabledAndOncePerPercent) {
  struct Case {
    bool enabled;
    bool expectDrawing;
  };
  for (const Case c : {Case{true, true}, Case{false, false}}) {
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    {
      ProgressBar bar(file, c.enabled);
      bar.start("Issues progress", 1000.0);
      for (int i = 0; i < 1000; ++i) bar.progressed(1);
      EXPECT_DOUBLE_EQ(bar.doneSteps(), 1000.0);
      bar.finish();
    }
    const std::string text = contents(file);
    std::fclose(file);
    if (!c.expectDrawing) {
      EXPECT_TRUE(text.empty()) << text;
      continue;
    }
    EXPECT_NE(text.find("Issues progress ["), std::string::npos);
    EXPECT_NE(text.find("100%"), std::string::npos);
    // A row a step: redrawing for each would flood the terminal.
    std::size_t draws = 0;
    for (std::size_t at = text.find("Issues progress"); at != std::string::npos;
         at = text.find("Issues progress", at + 1)) {
      ++draws;
    }
    EXPECT_LE(draws, 101u);
  }
}

TEST(ProgressBar, StepsFromSeveralThreadsAllCount) {
  ProgressBar bar(nullptr, false);
  bar.start("x", 4000.0);
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t) {
    workers.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) bar.progressed(1);
    });
  }
  for (auto& w : workers) w.join();
  EXPECT_DOUBLE_EQ(bar.doneSteps(), 4000.0);
  EXPECT_DOUBLE_EQ(bar.getTotalSteps(), 4000.0);
}

}  // namespace
}  // namespace nimbex_cl
