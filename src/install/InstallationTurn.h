#pragma once

#include <memory>

#include "platform/Clock.h"
#include "platform/FileSystem.h"

namespace brindlewick {

/// Lets two helpers that replace an application in one folder do so one after the other: each would take the moves of
/// the other for failures of its own.
struct InstallationTurn {
  /// The lock of the folder. Absent if there was none to have: the installation then goes on without one. Anybody who
  /// may read the folder could hold its lock for ever, so it may delay an update and must not prevent one; and some
  /// file systems have no locks.
  std::unique_ptr<DirectoryLock> lock;
  /// Whether somebody else had it first.
  bool hasWaited = false;

  /// Asks every 200 ms, and for the last time at the deadline. Throws PlatformError when this process has been told to
  /// end.
  [[nodiscard]] static InstallationTurn await(FileSystem& files, Clock& clock, const Path& folder,
                                              std::chrono::steady_clock::time_point deadline);
};

}  // namespace brindlewick
