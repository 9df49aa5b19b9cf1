#pragma once

#include "platform/Clock.h"

namespace brindlewick {

class SystemClock final : public Clock {
 public:
  [[nodiscard]] std::chrono::system_clock::time_point now() override;
  [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() override;
  void sleep(std::chrono::microseconds duration) override;
};

}  // namespace brindlewick
