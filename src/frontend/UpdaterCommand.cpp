#include "frontend/UpdaterCommand.h"

namespace brindlewick {

UpdaterCommand UpdaterCommand::parse(CommandList list) {
  // Deliberate, and unlike the other three commands: the last one of a repeated option counts.
  const OptionTable options(list, "check-and-stage", 6, RepeatedOption::replacesEarlier);
  return {.feedURL = options.url("--feed-url"),
          .publicKeyBase64 = options.text("--public-key"),
          .applicationIdentifier = options.nonEmptyText("--app-identifier"),
          .currentVersion = options.text("--current-version"),
          .currentBuild = options.buildNumber("--current-build"),
          .stagingDirectory = options.absolutePath("--staging-directory")};
}

}  // namespace brindlewick
