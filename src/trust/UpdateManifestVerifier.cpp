#include "trust/UpdateManifestVerifier.h"

#include <algorithm>

#include "platform/AsciiText.h"
#include "platform/Ed25519.h"
#include "platform/NumericSystemVersion.h"
#include "platform/TextCoding.h"
#include "platform/URL.h"
#include "trust/SemanticVersion.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

template <typename Fixed>
std::optional<Fixed> decodeFixed(std::string_view base64) {
  const auto decoded = decodeBase64(base64);
  Fixed fixed;
  if (!decoded || decoded->size() != fixed.bytes.size()) return std::nullopt;
  std::ranges::copy(*decoded, fixed.bytes.begin());
  return fixed;
}

bool isLowercaseSHA256(std::string_view text) {
  return text.size() == 64 &&
         std::ranges::all_of(text, [](char c) { return isAsciiDigit(c) || (c >= 'a' && c <= 'f'); });
}

bool isSecureArtifactURL(const URL& url) {
  return url.scheme() == "https" && url.host() && !url.user() && !url.password() && !url.fragment();
}

/// The build number decides only between copies of one and the same version: a release is newer than its
/// pre-releases whatever their builds, and an older version stays older.
bool isNewer(const SemanticVersion& offered, std::int64_t offeredBuild, const SemanticVersion& running,
             std::int64_t runningBuild) {
  if (running < offered) return true;
  return running == offered && runningBuild < offeredBuild;
}

}  // namespace

ValidatedUpdate UpdateManifestVerifier::verify(ByteView envelopeBytes, std::string_view publicKeyBase64,
                                               const RunningApplication& running) {
  using enum UpdateSecurityError;
  require(envelopeBytes.size() <= maximumEnvelopeByteCount, malformedEnvelope);
  auto envelope = unwrap(SignedUpdateManifestEnvelope::decode(envelopeBytes), malformedEnvelope);
  const auto payload = unwrap(decodeBase64(envelope.payload), malformedEnvelope);
  const auto signature = unwrap(decodeFixed<Ed25519Signature>(envelope.signature), malformedEnvelope);
  const auto publicKey = unwrap(decodeFixed<Ed25519PublicKey>(publicKeyBase64), malformedPublicKey);
  require(verifyEd25519(publicKey, payload, signature), invalidSignature);

  // Only a signed payload is ever parsed: nothing above this line looks inside it.
  auto manifest = CanonicalUpdateManifest::fromPayload(payload);
  require(manifest.schemaVersion == 1, unsupportedSchema);
  require(manifest.appIdentifier == running.identifier, wrongApplication);
  const auto offeredVersion = unwrap(SemanticVersion::parse(manifest.version), invalidVersion);
  const auto runningVersion = unwrap(SemanticVersion::parse(running.version), invalidVersion);
  require(manifest.build >= 1 && running.build >= 1, invalidBuild);
  require(NumericSystemVersion::parse(manifest.minimumSystemVersion).has_value(), invalidMinimumSystemVersion);
  const auto artifactURL = unwrap(URL::parse(manifest.artifactURL), insecureArtifactURL);
  require(isSecureArtifactURL(artifactURL), insecureArtifactURL);
  require(asciiLowercase(std::string(artifactURL.pathExtension())) == "zip", unsupportedArtifact);
  require(isLowercaseSHA256(manifest.artifactSHA256), invalidArtifactHash);

  const bool newer = isNewer(offeredVersion, manifest.build, runningVersion, running.build);
  return {std::move(manifest), std::move(envelope), newer};
}

}  // namespace brindlewick
