#include "frontend/ManifestSigningCommand.h"

namespace brindlewick {

ManifestSigningCommand ManifestSigningCommand::parse(CommandList list) {
  const OptionTable options(list, "sign-manifest", 8, RepeatedOption::fails);
  return {.privateKeyFile = options.absolutePath("--private-key-file"),
          .applicationIdentifier = options.nonEmptyText("--app-identifier"),
          .version = options.text("--version"),
          .build = options.buildNumber("--build"),
          .minimumSystemVersion = options.text("--minimum-system-version"),
          .artifactURL = options.url("--artifact-url"),
          .artifactFile = options.absolutePath("--artifact-file"),
          .outputFile = options.absolutePath("--output")};
}

}  // namespace brindlewick
