#pragma once

#include <string_view>

#include "platform/Failure.h"

namespace brindlewick {

/// Why a manifest, an artifact or a staging directory is not trusted. The staging and retrieval steps raise cases of
/// this table too.
enum class UpdateSecurityError {
  malformedEnvelope,
  malformedPublicKey,
  invalidSignature,
  nonCanonicalPayload,
  unsupportedSchema,
  wrongApplication,
  invalidVersion,
  invalidBuild,
  invalidMinimumSystemVersion,
  insecureArtifactURL,
  unsupportedArtifact,
  invalidArtifactHash,
  artifactHashMismatch,
  incompatibleSystem,
  unsafeStagingDirectory,
};

/// The sentence for the user.
[[nodiscard]] constexpr std::string_view describe(UpdateSecurityError error) noexcept {
  switch (error) {
    case UpdateSecurityError::malformedEnvelope:
      return "The update manifest is malformed.";
    case UpdateSecurityError::malformedPublicKey:
      return "This build has an invalid update verification key.";
    case UpdateSecurityError::invalidSignature:
      return "The update manifest signature is invalid.";
    case UpdateSecurityError::nonCanonicalPayload:
      return "The signed update manifest is not canonical.";
    case UpdateSecurityError::unsupportedSchema:
      return "The update manifest format is unsupported.";
    case UpdateSecurityError::wrongApplication:
      return "The update is intended for a different application.";
    case UpdateSecurityError::invalidVersion:
      return "The update contains an invalid semantic version.";
    case UpdateSecurityError::invalidBuild:
      return "The update contains an invalid build number.";
    case UpdateSecurityError::invalidMinimumSystemVersion:
      return "The update contains an invalid system requirement.";
    case UpdateSecurityError::insecureArtifactURL:
      return "The update artifact does not use a secure HTTPS URL.";
    case UpdateSecurityError::unsupportedArtifact:
      return "The update artifact is not a supported archive.";
    case UpdateSecurityError::invalidArtifactHash:
      return "The update artifact hash is malformed.";
    case UpdateSecurityError::artifactHashMismatch:
      return "The downloaded update failed its signed hash check.";
    case UpdateSecurityError::incompatibleSystem:
      return "The update requires a newer version of macOS.";
    case UpdateSecurityError::unsafeStagingDirectory:
      return "The update staging directory is unsafe.";
  }
  return {};
}

}  // namespace brindlewick
