#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/linux/TransferClock.h"
#include "platform/linux/TransferSockets.h"

namespace brindlewick {

/// Ends a task that takes too long, or that an interruption ends, whatever the transport is doing at the time.
///
/// A TLS library reads on within one call for as long as a peer sends records that carry nothing, and a transport calls
/// nobody back meanwhile. So a thread of our own watches the time and the mark of an interruption, and then shuts the
/// sockets of the session down for good, which ends any read and write. It lives as long as this object and takes no
/// signals: they reach the thread that works.
class TransferWatchdog {
 public:
  /// How often it looks.
  static constexpr std::chrono::milliseconds interval{100};

  enum class Verdict { mayGoOn, tookTooLong, interrupted };

  /// Throws PlatformError when no thread can be had.
  TransferWatchdog(TransferSockets& sockets, const TransferClock& clock);
  ~TransferWatchdog();
  TransferWatchdog(const TransferWatchdog&) = delete;
  TransferWatchdog& operator=(const TransferWatchdog&) = delete;

  // What the clock is told.
  void startIdling();
  void stopIdling();
  void expectAnswer();
  void noteAnswer();

  /// Once it is another than mayGoOn, it stays.
  [[nodiscard]] Verdict verdict() const;

 private:
  void run();
  [[nodiscard]] Verdict judge() const;

  TransferSockets& sockets_;
  mutable std::mutex lock_;
  TransferClock clock_;
  Verdict verdict_ = Verdict::mayGoOn;
  bool isTaskOver_ = false;
  std::condition_variable taskEnd_;
  std::thread thread_;  // last: it uses the others
};

}  // namespace brindlewick
