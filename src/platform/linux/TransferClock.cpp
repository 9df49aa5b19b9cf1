#include "platform/linux/TransferClock.h"

namespace brindlewick {

TransferClock::TransferClock(const TransferTimeouts& timeouts, std::chrono::milliseconds answer,
                             TimePoint start) noexcept
    : timeouts_(timeouts), answer_(answer), start_(start), idleSince_(start) {}

bool TransferClock::isOver(TimePoint now) const noexcept {
  const auto elapsed = now - start_;
  if (elapsed >= timeouts_.whole || (!isAnswered_ && elapsed >= answer_)) return true;
  return idleSince_ && now - *idleSince_ >= timeouts_.idle;
}

}  // namespace brindlewick
