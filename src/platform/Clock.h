#pragma once

#include <chrono>

namespace brindlewick {

class Clock {
 public:
  virtual ~Clock() = default;

  /// The date of the calendar.
  [[nodiscard]] virtual std::chrono::system_clock::time_point now() = 0;
  /// A time that only moves forward, for deadlines: setting the computer's clock does not change it.
  [[nodiscard]] virtual std::chrono::steady_clock::time_point steadyNow() = 0;
  virtual void sleep(std::chrono::microseconds duration) = 0;
};

}  // namespace brindlewick
