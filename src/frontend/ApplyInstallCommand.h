#pragma once

#include <cstdint>
#include <string>

#include "frontend/OptionTable.h"

namespace brindlewick {

/// The options of "apply-install". The preparation directory lies directly in the staged directory, and the result file
/// beside it: the helper can be told to write nowhere else.
struct ApplyInstallCommand {
  std::string publicKeyBase64;
  std::string applicationIdentifier;
  std::string currentVersion;
  std::int64_t currentBuild = 0;
  /// Standardized.
  Path stagedDirectory;
  /// Standardized.
  Path preparationDirectory;
  /// As given.
  Path installedApplication;
  std::int32_t parentProcessIdentifier = 0;
  /// Standardized.
  Path resultFile;

  /// Throws Failure<UpdaterCommandError>: invalidArguments.
  [[nodiscard]] static ApplyInstallCommand parse(CommandList list);

  bool operator==(const ApplyInstallCommand&) const = default;
};

}  // namespace brindlewick
