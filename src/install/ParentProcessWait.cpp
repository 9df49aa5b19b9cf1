#include "install/ParentProcessWait.h"

#include "install/UpdateInstallError.h"

namespace brindlewick {

void ParentProcessWait::wait(ProcessLauncher& processes, Clock& clock, std::int32_t processIdentifier) {
  constexpr std::chrono::microseconds pause(200'000);
  // 0 and -1 would ask for whole groups of processes, and 1 never ends.
  require(processIdentifier >= 2, UpdateInstallError::invalidCommand);
  const auto deadline = clock.steadyNow() + patience;
  for (;;) {
    require(clock.steadyNow() < deadline, UpdateInstallError::parentDidNotExit);
    if (processes.hasEnded(processIdentifier)) return;
    clock.sleep(pause);
  }
}

}  // namespace brindlewick
