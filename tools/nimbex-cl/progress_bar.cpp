#include "tools/nimbex-cl/progress_bar.h"

#include <unistd.h>

#include <algorithm>

namespace nimbex_cl {

namespace {
constexpr int kBarWidth = 30;
}

ProgressBar::ProgressBar(std::FILE* stream, bool enabled) : stream_(stream), enabled_(enabled && stream) {}

ProgressBar::~ProgressBar() { finish(); }

bool ProgressBar::isTerminal(std::FILE* stream) { return stream && ::isatty(::fileno(stream)) == 1; }

void ProgressBar::start(const char* title, double total) {
  std::lock_guard<std::mutex> lock(mutex_);
  title_ = title ? title : "";
  total_ = total;
  done_ = 0.0;
  shownPercent_ = -1;
  draw(false);
}

void ProgressBar::progressed(int steps) { add(steps); }
void ProgressBar::internalProgressed(double steps) { add(steps); }
void ProgressBar::message(const char*) {}

void ProgressBar::finish() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (drawn_ && enabled_) {
    // Clear the line so the report starts on a clean one.
    std::fprintf(stream_, "\r%*s\r", kBarWidth + 40, "");
    std::fflush(stream_);
  }
  drawn_ = false;
}

void ProgressBar::cancel() { canceled_.store(true); }
bool ProgressBar::isCanceled() const { return canceled_.load(); }

double ProgressBar::getTotalSteps() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return total_;
}

double ProgressBar::doneSteps() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return done_;
}

void ProgressBar::add(double steps) {
  std::lock_guard<std::mutex> lock(mutex_);
  done_ += steps;
  draw(false);
}

void ProgressBar::draw(bool) {
  if (!enabled_ || total_ <= 0.0) return;
  const double share = std::clamp(done_ / total_, 0.0, 1.0);
  const int percent = static_cast<int>(share * 100.0);
  // Redraw only when the number changes: a scan reports every row, and a
  // terminal write per row would cost more than the scan.
  if (percent == shownPercent_) return;
  shownPercent_ = percent;
  const int filled = static_cast<int>(share * kBarWidth);
  char bar[kBarWidth + 1];
  for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '-';
  bar[kBarWidth] = '\0';
  std::fprintf(stream_, "\r%s [%s] %3d%%", title_.c_str(), bar, percent);
  std::fflush(stream_);
  drawn_ = true;
}

}  // namespace nimbex_cl
