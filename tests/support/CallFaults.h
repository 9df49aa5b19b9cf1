#pragma once

#include <functional>

namespace brindlewick::testing {

/// What happens to a system call that concerns files, instead of its work.
enum class CallFault {
  /// It fails with EIO.
  failure,
  /// It fails with EMFILE.
  lackOfDescriptors,
  /// The process ends as if it had been killed.
  death,
};

/// How a run with a fault has ended.
enum class CallOutcome { success, failure, death };

struct CallSweep {
  /// Makes the world anew before each run.
  std::function<void()> prepare;
  /// What is tried; throwing is a failure. It calls `begin` where the calls begin to count.
  std::function<void(const std::function<void()>& begin)> action;
  /// Judges the world after each run, with the number of the call that met the fault.
  std::function<void(int call, CallOutcome outcome)> check;
};

/// Tries the action again and again, each time in a process of its own whose next call (the first, the second, ...)
/// meets the fault, until a run has met none. That last one is checked too, and must succeed where the action can.
/// Returns how many calls have met the fault.
int sweepCalls(CallFault fault, const CallSweep& sweep);

}  // namespace brindlewick::testing
