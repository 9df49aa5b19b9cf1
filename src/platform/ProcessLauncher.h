#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/Bytes.h"
#include "platform/Path.h"

namespace brindlewick {

/// How one run of a tool ended.
struct ToolRun {
  /// Its standard output; complete unless `exceededByteLimit`.
  Bytes output;
  /// The tool printed more than the limit; it was stopped and the rest was not read.
  bool exceededByteLimit = false;
  /// It ended by itself with status 0; false also when a signal ended it.
  bool succeeded = false;
};

/// While one of these lives, HUP, INT, TERM and PIPE do nothing to this process.
class SignalShield {
 public:
  virtual ~SignalShield() = default;
};

/// Other processes, and this one among them. What waits for another process fails with std::errc::interrupted as soon
/// as this one has been told to end (HUP, INT, TERM).
///
/// A child is started by absolute path with its arguments unchanged, no shell, a fixed minimal environment with a
/// UTF-8 locale, umask 022, default signals, and no descriptor but its three standard ones.
class ProcessLauncher {
 public:
  virtual ~ProcessLauncher() = default;

  /// Runs a tool to its end with its input and error on the null device, reading at most `outputByteLimit` bytes and
  /// one buffer of its output. Throws PlatformError when it cannot be started, and when this process has been told to
  /// end: the tool is then ended too, and how it ended by itself, perhaps by the same signal, is no answer. On Linux
  /// the tool is also ended when this process is killed.
  [[nodiscard]] virtual ToolRun run(const Path& executable, const std::vector<std::string>& arguments,
                                    std::size_t outputByteLimit) = 0;

  /// Starts a program with all three standard streams on the null device and does not wait for it; it outlives this
  /// process. Throws PlatformError when it cannot be started.
  virtual void startDetached(const Path& executable, const std::vector<std::string>& arguments) = 0;

  /// Whether no process has this identifier any more. A process that exists but belongs to another user is not gone.
  /// Throws PlatformError when this process has been told to end.
  [[nodiscard]] virtual bool hasEnded(std::int32_t processIdentifier) = 0;

  /// The effective user of this process.
  [[nodiscard]] virtual std::uint32_t effectiveUser() = 0;

  /// Readies this process to hold a secret: from now on its memory is written to no core dump and it has no network.
  /// For good, and as far as the system can: a system that cannot is no reason not to work.
  virtual void guardSecrets() noexcept = 0;

  /// Moves this process into a session of its own, so that the end of its starter's session does not reach it; where
  /// it may not leave, HUP is ignored from now on. No effect when it leads one already.
  virtual void startOwnSession() = 0;

  /// Throws PlatformError when this process has been told to end: what must not be broken off is then not begun.
  [[nodiscard]] virtual std::unique_ptr<SignalShield> shieldFromSignals() = 0;
};

}  // namespace brindlewick
