#include "frontend/PrepareInstall.h"

#include "install/UpdateInstaller.h"

namespace brindlewick {

InstallPreparationResponse prepareInstall(const InspectionTools& tools, const PrepareInstallCommand& command) {
  const auto prepared = UpdateInstaller::prepare(tools, {.installedApplication = command.installedApplication,
                                                         .stagedDirectory = command.stagedDirectory,
                                                         .publicKeyBase64 = command.publicKeyBase64,
                                                         .running = {.identifier = command.applicationIdentifier,
                                                                     .version = command.currentVersion,
                                                                     .build = command.currentBuild}});
  return {
      .version = prepared.version, .build = prepared.build, .preparationDirectoryPath = prepared.directoryURL.string()};
}

}  // namespace brindlewick
