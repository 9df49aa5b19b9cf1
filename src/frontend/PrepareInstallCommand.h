#pragma once

#include <cstdint>
#include <string>

#include "frontend/OptionTable.h"

namespace brindlewick {

/// The options of "prepare-install".
struct PrepareInstallCommand {
  std::string publicKeyBase64;
  std::string applicationIdentifier;
  std::string currentVersion;
  std::int64_t currentBuild = 0;
  Path stagedDirectory;
  Path installedApplication;

  /// Throws Failure<UpdaterCommandError>: invalidArguments.
  [[nodiscard]] static PrepareInstallCommand parse(CommandList list);

  bool operator==(const PrepareInstallCommand&) const = default;
};

}  // namespace brindlewick
