#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/Bytes.h"
#include "trust/ValidatedUpdate.h"

namespace brindlewick {

/// What is known of the copy that asks for an update.
struct RunningApplication {
  /// The bundle identifier.
  std::string_view identifier;
  /// A semantic version.
  std::string_view version;
  /// At least 1.
  std::int64_t build = 0;
};

namespace UpdateManifestVerifier {

inline constexpr std::size_t maximumEnvelopeByteCount = 1'048'576;

/// Decides whether a downloaded envelope is a trustworthy update for this application, and whether it is newer.
///
/// `envelopeBytes` is JSON (RFC 8259), at most 1,048,576 bytes; `publicKeyBase64` is the base64 (RFC 4648, section 4)
/// of a 32-byte Ed25519 key (RFC 8032). Pure: no files, no network.
///
/// Throws Failure<UpdateSecurityError>, the first that applies: malformedEnvelope, malformedPublicKey,
/// invalidSignature, nonCanonicalPayload, unsupportedSchema, wrongApplication, invalidVersion, invalidBuild,
/// invalidMinimumSystemVersion, insecureArtifactURL, unsupportedArtifact, invalidArtifactHash.
[[nodiscard]] ValidatedUpdate verify(ByteView envelopeBytes, std::string_view publicKeyBase64,
                                     const RunningApplication& running);

}  // namespace UpdateManifestVerifier

}  // namespace brindlewick
