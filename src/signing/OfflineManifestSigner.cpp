#include "signing/OfflineManifestSigner.h"

#include <algorithm>

#include "platform/TextCoding.h"
#include "signing/OfflineManifestSigningError.h"
#include "signing/PrivateKeyFile.h"
#include "staging/ArtifactHasher.h"
#include "trust/UpdateManifestVerifier.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

UpdateManifest manifestFor(const ReleaseDescription& release, std::string artifactSHA256) {
  return {.schemaVersion = 1,
          .appIdentifier = release.applicationIdentifier,
          .version = release.version,
          .build = release.build,
          .minimumSystemVersion = release.minimumSystemVersion,
          .artifactURL = release.artifactURL.string(),
          .artifactSHA256 = std::move(artifactSHA256)};
}

Bytes signedEnvelope(const UpdateManifest& manifest, const Ed25519PrivateKey& key) {
  // A text that is not UTF-8 has no canonical bytes; the verifier would give the same case.
  const auto payload = unwrap(CanonicalUpdateManifest::encode(manifest), UpdateSecurityError::nonCanonicalPayload);
  const auto signature = key.sign(payload);
  return unwrap(CanonicalSignedEnvelope::encode({encodeBase64(payload), encodeBase64(signature.bytes)}),
                UpdateSecurityError::malformedEnvelope);
}

}  // namespace

OfflineManifestSigningResult OfflineManifestSigner::sign(FileSystem& files, const Path& privateKeyFile,
                                                         const Path& artifactFile, const ReleaseDescription& release,
                                                         std::uint32_t effectiveUser) {
  const auto key = PrivateKeyFile::read(files, privateKeyFile, effectiveUser);
  const auto manifest = manifestFor(release, ArtifactHasher::sha256Hex(files, artifactFile));
  auto envelope = signedEnvelope(manifest, key);
  auto publicKey = encodeBase64(key.publicKey().bytes);

  // Whatever the verifier would refuse later is refused now, at the publisher's desk. That it is not newer than itself
  // does not matter.
  static_cast<void>(UpdateManifestVerifier::verify(
      envelope, publicKey,
      {.identifier = release.applicationIdentifier, .version = release.version, .build = release.build}));
  return {std::move(envelope), std::move(publicKey), manifest.artifactSHA256};
}

void OfflineManifestSigner::write(FileSystem& files, ByteView envelopeData, const Path& output,
                                  const std::vector<Path>& protectedLocations) {
  const auto target = output.standardized();
  const bool isProtected =
      std::ranges::any_of(protectedLocations, [&](const Path& location) { return location.standardized() == target; });
  require(!isProtected, OfflineManifestSigningError::unsafeOutputPath);
  files.writeAtomically(output, envelopeData, 0600);
}

}  // namespace brindlewick
