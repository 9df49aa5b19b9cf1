#pragma once

#include "frontend/ApplyInstallCommand.h"
#include "install/ApplicationIdentity.h"
#include "platform/Clock.h"

namespace brindlewick {

/// Installs a prepared update, records how it ended, and relaunches the application, the new one or the old. Throws
/// what the installer throws, after record and relaunch; a record of success that cannot be written is a failure too.
void applyInstall(const InspectionTools& tools, Clock& clock, const ApplyInstallCommand& command);

}  // namespace brindlewick
