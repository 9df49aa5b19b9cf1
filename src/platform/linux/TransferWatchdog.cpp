#include "platform/linux/TransferWatchdog.h"

#include <csignal>
#include <system_error>

#include "platform/PlatformError.h"
#include "platform/posix/Interruption.h"

namespace brindlewick {
namespace {

using Clock = std::chrono::steady_clock;

/// A thread begins with the mask of the one that starts it.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() noexcept {
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

TransferWatchdog::TransferWatchdog(TransferSockets& sockets, const TransferClock& clock)
    : sockets_(sockets), clock_(clock) {
  const AllSignalsBlocked blocked;
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error& error) {
    throw PlatformError("start", "the watch over a transfer", error.code());
  }
}

TransferWatchdog::~TransferWatchdog() {
  {
    const std::lock_guard guard(lock_);
    isTaskOver_ = true;
  }
  taskEnd_.notify_all();
  thread_.join();
}

void TransferWatchdog::run() {
  std::unique_lock guard(lock_);
  while (!taskEnd_.wait_for(guard, interval, [this] { return isTaskOver_; })) {
    if (verdict_ == Verdict::mayGoOn) verdict_ = judge();
    // Again each time: a socket that was about to connect does not keep its end.
    if (verdict_ != Verdict::mayGoOn) sockets_.shutDownForGood();
  }
}

TransferWatchdog::Verdict TransferWatchdog::judge() const {
  if (clock_.isOver(Clock::now())) return Verdict::tookTooLong;
  return interrupted() ? Verdict::interrupted : Verdict::mayGoOn;
}

void TransferWatchdog::startIdling() {
  const std::lock_guard guard(lock_);
  clock_.startIdling(Clock::now());
}

void TransferWatchdog::stopIdling() {
  const std::lock_guard guard(lock_);
  clock_.stopIdling();
}

void TransferWatchdog::expectAnswer() {
  const std::lock_guard guard(lock_);
  clock_.expectAnswer();
}

void TransferWatchdog::noteAnswer() {
  const std::lock_guard guard(lock_);
  clock_.noteAnswer();
}

TransferWatchdog::Verdict TransferWatchdog::verdict() const {
  const std::lock_guard guard(lock_);
  return verdict_;
}

}  // namespace brindlewick
