#pragma once

#include <string_view>

#include "platform/FileSystem.h"
#include "staging/StagedUpdateReceipt.h"
#include "trust/UpdateManifestVerifier.h"
#include "trust/ValidatedUpdate.h"

namespace brindlewick {

/// What staging has left on disk.
struct StagedUpdate {
  /// The staged archive.
  Path artifactURL;
  Path receiptURL;
  StagedUpdateReceipt receipt;

  bool operator==(const StagedUpdate&) const = default;
};

/// Puts verified archives into private directories, and verifies them again from there.
namespace VerifiedArtifactStager {

inline constexpr std::string_view artifactFileName = "BrindlewickUpdate.zip";

/// Moves a downloaded archive into a fresh candidate directory, "<version>-<build>-<UUID>" in `stagingDirectory`, and
/// writes the receipt beside it. Directories get mode 0700 and files 0600. When it returns, a power cut loses nothing.
///
/// Throws, in this order: Failure<UpdateSecurityError> unsafeStagingDirectory for a download that is not a regular
/// file, artifactHashMismatch, unsafeStagingDirectory for a staging place that is not a directory,
/// artifactHashMismatch after the move; and PlatformError wherever the disk refuses. A failure leaves no candidate
/// directory; the download stays where it is unless it was moved already.
[[nodiscard]] StagedUpdate stage(FileSystem& files, const Path& download, const ValidatedUpdate& update,
                                 const Path& stagingDirectory);

/// Verifies a candidate directory from what lies on disk: receipt, signed manifest, archive. Changes nothing.
///
/// Throws, in this order: Failure<UpdateSecurityError> unsafeStagingDirectory for the directory, unsafeStagingDirectory
/// for the receipt, PlatformError for a receipt that cannot be read or decoded, malformedEnvelope for another format or
/// file name, every case of the manifest verifier, invalidSignature for a receipt that contradicts its signed manifest,
/// unsafeStagingDirectory for the archive, artifactHashMismatch.
[[nodiscard]] ValidatedUpdate reverify(FileSystem& files, const Path& stagedDirectory, std::string_view publicKeyBase64,
                                       const RunningApplication& running);

}  // namespace VerifiedArtifactStager

}  // namespace brindlewick
