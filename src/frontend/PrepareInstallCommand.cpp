#include "frontend/PrepareInstallCommand.h"

namespace brindlewick {

PrepareInstallCommand PrepareInstallCommand::parse(CommandList list) {
  const OptionTable options(list, "prepare-install", 6, RepeatedOption::fails);
  return {.publicKeyBase64 = options.text("--public-key"),
          .applicationIdentifier = options.nonEmptyText("--app-identifier"),
          .currentVersion = options.text("--current-version"),
          .currentBuild = options.buildNumber("--current-build"),
          .stagedDirectory = options.absolutePath("--staged-directory"),
          .installedApplication = options.absolutePath("--installed-app")};
}

}  // namespace brindlewick
