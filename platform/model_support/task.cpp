#include "platform/model_support/task.h"

namespace data_models2 {

void DefaultTaskImpl::Cancel() { canceled_.store(true, std::memory_order_release); }

bool DefaultTaskImpl::IsCanceled() const { return canceled_.load(std::memory_order_acquire); }

BaseLongOperationTask::LoadType BaseLongOperationTask::GetCompleteStatus() const {
  return static_cast<LoadType>(status_.load(std::memory_order_acquire));
}

std::string BaseLongOperationTask::GetCompleteMessage() const {
  std::lock_guard<std::mutex> lock(messageMutex_);
  return message_;
}

void BaseLongOperationTask::SetCompleteStatus(LoadType status) {
  status_.store(static_cast<int>(status), std::memory_order_release);
}

void BaseLongOperationTask::SetCompleteMessage(const std::string& message) {
  std::lock_guard<std::mutex> lock(messageMutex_);
  message_ = message;
}

}  // namespace data_models2
