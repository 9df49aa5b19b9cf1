#pragma once

#include <cstdint>
#include <string>

#include "frontend/OptionTable.h"

namespace brindlewick {

/// The options of "check-and-stage".
struct UpdaterCommand {
  URL feedURL;
  std::string publicKeyBase64;
  std::string applicationIdentifier;
  std::string currentVersion;
  std::int64_t currentBuild = 0;
  Path stagingDirectory;

  /// Throws Failure<UpdaterCommandError>: invalidArguments.
  [[nodiscard]] static UpdaterCommand parse(CommandList list);

  bool operator==(const UpdaterCommand&) const = default;
};

}  // namespace brindlewick
