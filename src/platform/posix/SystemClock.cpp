#include "platform/posix/SystemClock.h"

#include <thread>

namespace brindlewick {

std::chrono::system_clock::time_point SystemClock::now() { return std::chrono::system_clock::now(); }

std::chrono::steady_clock::time_point SystemClock::steadyNow() { return std::chrono::steady_clock::now(); }

void SystemClock::sleep(std::chrono::microseconds duration) { std::this_thread::sleep_for(duration); }

}  // namespace brindlewick
