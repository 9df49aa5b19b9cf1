#pragma once

#include <chrono>
#include <optional>

namespace brindlewick {

/// The limits of time of a session.
struct TransferTimeouts {
  /// Without a line of a head or of trailers, or a byte of a body, arriving.
  std::chrono::milliseconds idle{std::chrono::seconds(30)};
  /// A whole task, all its redirects included.
  std::chrono::milliseconds whole{std::chrono::seconds(300)};
};

/// Decides when a task has taken too long. It is told what happens and when, and reads no clock itself.
///
/// A task begins idle: looking up a name, connecting and the handshake bring no byte of HTTP. What TLS exchanges
/// beneath, however much, is no progress either: nobody waits for it.
class TransferClock {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// `answer` is how long the task may take until it is answered, counted from its start on each hop.
  TransferClock(const TransferTimeouts& timeouts, std::chrono::milliseconds answer, TimePoint start) noexcept;

  void startIdling(TimePoint now) noexcept { idleSince_ = now; }
  /// While received bytes are written away: a slow disk is not the peer's fault.
  void stopIdling() noexcept { idleSince_.reset(); }

  /// A request goes out: the first one, or that of the next hop.
  void expectAnswer() noexcept { isAnswered_ = false; }
  /// The head of a response that is not an interim one is complete.
  void noteAnswer() noexcept { isAnswered_ = true; }

  [[nodiscard]] bool isOver(TimePoint now) const noexcept;

 private:
  TransferTimeouts timeouts_;
  std::chrono::milliseconds answer_;
  TimePoint start_;
  std::optional<TimePoint> idleSince_;
  bool isAnswered_ = false;
};

}  // namespace brindlewick
