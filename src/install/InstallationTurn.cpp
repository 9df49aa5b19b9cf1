#include "install/InstallationTurn.h"

#include "platform/PlatformError.h"

namespace brindlewick {

InstallationTurn InstallationTurn::await(FileSystem& files, Clock& clock, const Path& folder,
                                         std::chrono::steady_clock::time_point deadline) {
  constexpr std::chrono::microseconds pause(200'000);
  InstallationTurn turn;
  try {
    for (;;) {
      turn.lock = files.tryLock(folder);
      if (turn.lock) return turn;
      turn.hasWaited = true;
      if (clock.steadyNow() >= deadline) return turn;
      clock.sleep(pause);
    }
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    return turn;
  }
}

}  // namespace brindlewick
