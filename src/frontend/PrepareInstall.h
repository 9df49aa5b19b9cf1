#pragma once

#include "frontend/InstallPreparationResponse.h"
#include "frontend/PrepareInstallCommand.h"
#include "install/ApplicationIdentity.h"

namespace brindlewick {

/// Prepares a staged update for installation. Throws what the installer throws.
[[nodiscard]] InstallPreparationResponse prepareInstall(const InspectionTools& tools,
                                                        const PrepareInstallCommand& command);

}  // namespace brindlewick
