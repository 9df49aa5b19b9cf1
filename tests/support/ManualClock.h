#pragma once

#include <functional>
#include <vector>

#include "platform/Clock.h"

namespace brindlewick::testing {

/// Time passes only while somebody sleeps, and then in no time.
class ManualClock final : public Clock {
 public:
  [[nodiscard]] std::chrono::system_clock::time_point now() override { return date; }
  [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() override { return steady_; }
  void sleep(std::chrono::microseconds duration) override {
    sleeps.push_back(duration);
    steady_ += duration;
    whileAsleep();
  }

  std::chrono::system_clock::time_point date{};
  std::vector<std::chrono::microseconds> sleeps;
  /// Happens during each sleep.
  std::function<void()> whileAsleep = [] {};

 private:
  std::chrono::steady_clock::time_point steady_{};
};

}  // namespace brindlewick::testing
