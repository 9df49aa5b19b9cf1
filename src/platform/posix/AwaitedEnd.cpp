#include "platform/posix/AwaitedEnd.h"

namespace brindlewick {

void AwaitedEnd::arrive(std::exception_ptr failure) noexcept {
  const std::lock_guard guard(lock_);
  if (hasArrived_) return;
  hasArrived_ = true;
  failure_ = std::move(failure);
  // Within the lock: the waiting thread may destroy this object as soon as it has it.
  arrival_.notify_all();
}

void AwaitedEnd::wait(const std::function<bool()>& isUnwanted, const std::function<void()>& cancel) {
  const auto hasArrived = [this] { return hasArrived_; };
  std::unique_lock guard(lock_);
  while (!arrival_.wait_for(guard, interval, hasArrived) && !isUnwanted()) continue;
  if (!hasArrived_) {
    guard.unlock();  // cancelling may bring the end at once, on this very thread
    cancel();
    guard.lock();
    arrival_.wait(guard, hasArrived);
  }
  if (failure_) std::rethrow_exception(failure_);
}

}  // namespace brindlewick
