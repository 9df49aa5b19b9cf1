#include "frontend/ApplyInstallCommand.h"

#include "frontend/UpdaterCommandError.h"

namespace brindlewick {

ApplyInstallCommand ApplyInstallCommand::parse(CommandList list) {
  using enum UpdaterCommandError;
  const OptionTable options(list, "apply-install", 9, RepeatedOption::fails);
  ApplyInstallCommand command{.publicKeyBase64 = options.text("--public-key"),
                              .applicationIdentifier = options.nonEmptyText("--app-identifier"),
                              .currentVersion = options.text("--current-version"),
                              .currentBuild = options.buildNumber("--current-build"),
                              .stagedDirectory = options.absolutePath("--staged-directory").standardized(),
                              .preparationDirectory = options.absolutePath("--preparation-directory").standardized(),
                              .installedApplication = options.absolutePath("--installed-app"),
                              .parentProcessIdentifier = options.processIdentifier("--parent-pid"),
                              .resultFile = options.absolutePath("--result-file").standardized()};
  require(command.preparationDirectory.isDirectlyIn(command.stagedDirectory), invalidArguments);
  require(command.resultFile.lastComponent() == "last-install-result.json", invalidArguments);
  require(command.resultFile.isBeside(command.stagedDirectory), invalidArguments);
  return command;
}

}  // namespace brindlewick
