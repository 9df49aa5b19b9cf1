#pragma once

#include "platform/ProcessLauncher.h"

namespace brindlewick::ApplicationRelauncher {

/// Has the system start the application, and does not wait for it. A failure is ignored: the installation has ended,
/// and its user can start the application too.
void relaunch(ProcessLauncher& processes, const Path& application) noexcept;

}  // namespace brindlewick::ApplicationRelauncher
