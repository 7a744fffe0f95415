#include "platform/model_support/dummy_progress.h"

namespace data_models2 {

void DummyProgress::start(const char*, double) {}
void DummyProgress::progressed(int) {}
void DummyProgress::internalProgressed(double) {}
void DummyProgress::message(const char*) {}
void DummyProgress::finish() {}
void DummyProgress::cancel() { canceled_.store(true, std::memory_order_release); }
double DummyProgress::getTotalSteps() const { return 0.0; }
bool DummyProgress::isCanceled() const { return canceled_.load(std::memory_order_acquire); }
void DummyProgress::reset() { canceled_.store(false, std::memory_order_release); }

}  // namespace data_models2
