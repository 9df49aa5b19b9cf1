#pragma once

#include <cstdint>
#include <string>

#include "frontend/OptionTable.h"

namespace brindlewick {

/// The options of "sign-manifest".
struct ManifestSigningCommand {
  Path privateKeyFile;
  std::string applicationIdentifier;
  std::string version;
  std::int64_t build = 0;
  std::string minimumSystemVersion;
  URL artifactURL;
  Path artifactFile;
  Path outputFile;

  /// Throws Failure<UpdaterCommandError>: invalidArguments.
  [[nodiscard]] static ManifestSigningCommand parse(CommandList list);

  bool operator==(const ManifestSigningCommand&) const = default;
};

}  // namespace brindlewick
