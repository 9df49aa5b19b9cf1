#pragma once

#include <string>
#include <vector>

#include "platform/posix/PosixFileSystem.h"
#include "staging/ArtifactHasher.h"
#include "staging/VerifiedArtifactStager.h"
#include "support/SignedFeed.h"
#include "support/TemporaryFolder.h"

namespace brindlewick::testing {

/// A download, a manifest that fits it, and a place for the staging directory.
struct StagingWorld {
  TemporaryFolder folder;
  PosixFileSystem files;
  Path staging = folder / "staging";
  Path download = folder / "download" / "artifact";
  ValidatedUpdate update;

  explicit StagingWorld(const std::string& archive = "archive") {
    writeFile(download, archive, 0600);
    auto manifest = validManifest();
    manifest.artifactSHA256 = ArtifactHasher::sha256Hex(files, download);
    update = validated(manifest);
  }

  StagedUpdate stage() { return VerifiedArtifactStager::stage(files, download, update, staging); }

  ValidatedUpdate reverify(const Path& staged) {
    return VerifiedArtifactStager::reverify(files, staged, publicKeyBase64(),
                                            {.identifier = applicationIdentifier, .version = "2.3.0", .build = 100});
  }

  [[nodiscard]] std::vector<std::string> candidates() {
    return exists(staging) ? files.list(staging) : std::vector<std::string>{};
  }
};

}  // namespace brindlewick::testing
