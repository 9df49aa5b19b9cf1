#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/URL.h"

namespace brindlewick {

/// What a publisher says of a release before its archive is hashed.
struct ReleaseDescription {
  std::string applicationIdentifier;
  std::string version;
  std::int64_t build = 0;
  std::string minimumSystemVersion;
  URL artifactURL;
};

struct OfflineManifestSigningResult {
  /// The complete envelope, as it is to be written.
  Bytes envelopeData;
  /// The 32 bytes of the public key that belongs to the private key used.
  std::string publicKeyBase64;
  /// 64 lower-case hexadecimal digits, as in the manifest.
  std::string artifactSHA256;

  bool operator==(const OfflineManifestSigningResult&) const = default;
};

/// The publisher's side: signs a manifest for a finished archive. Never touches the network.
namespace OfflineManifestSigner {

/// Hashes the archive, signs the canonical manifest and proves the envelope with the verifier before returning it.
///
/// Throws Failure<OfflineManifestSigningError> unsafePrivateKeyFile, then malformedPrivateKey; PlatformError for a file
/// that cannot be read; Failure<UpdateSecurityError> for any rule of the verifier that the release breaks.
[[nodiscard]] OfflineManifestSigningResult sign(FileSystem& files, const Path& privateKeyFile, const Path& artifactFile,
                                                const ReleaseDescription& release, std::uint32_t effectiveUser);

/// Writes the envelope whole or not at all, with mode 0600, replacing an earlier file.
///
/// Throws Failure<OfflineManifestSigningError> unsafeOutputPath if the standardized output is one of the protected
/// locations, standardized alike (a way around through a link is not seen); then PlatformError.
void write(FileSystem& files, ByteView envelopeData, const Path& output, const std::vector<Path>& protectedLocations);

}  // namespace OfflineManifestSigner

}  // namespace brindlewick
