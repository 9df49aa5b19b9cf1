#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/Path.h"

namespace brindlewick::posix {

/// A child in a session of its own is to outlive this process; one in ours is waited for, and is killed together with
/// this process where the system can do that.
enum class ChildSession { ours, itsOwn };

/// A started child. One that was not waited for is ended and reaped at the latest here, so that none is ever left over.
class ChildProcess {
 public:
  /// Starts a program with its input and error on the null device and its output on `output`; every other descriptor
  /// is closed. Throws PlatformError when it cannot be started.
  ChildProcess(const Path& executable, const std::vector<std::string>& arguments, int output, ChildSession session);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void kill() noexcept;
  /// Waits for its end. Whether it ended by itself with status 0.
  [[nodiscard]] bool waitForSuccess();
  /// Leaves it running, for the system to reap.
  void letGo() noexcept { process_ = -1; }

 private:
  pid_t process_ = -1;
};

}  // namespace brindlewick::posix
