#pragma once

#include <chrono>
#include <cstdint>

#include "platform/Clock.h"
#include "platform/ProcessLauncher.h"

namespace brindlewick::ParentProcessWait {

/// How long a parent may take to end.
inline constexpr std::chrono::seconds patience(30);

/// Waits until no process has this identifier any more, looking every 200 ms for at most 30 s, measured by a clock that
/// nobody can set. A process that may not be signalled is still there.
///
/// Throws Failure<UpdateInstallError> invalidCommand for an identifier below 2, parentDidNotExit; and PlatformError
/// when this process has been told to end.
void wait(ProcessLauncher& processes, Clock& clock, std::int32_t processIdentifier);

}  // namespace brindlewick::ParentProcessWait
