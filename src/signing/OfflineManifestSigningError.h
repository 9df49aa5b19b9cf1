#pragma once

#include <string_view>

#include "platform/Failure.h"

namespace brindlewick {

/// Why a manifest was not signed or not written.
enum class OfflineManifestSigningError {
  unsafePrivateKeyFile,
  malformedPrivateKey,
  unsafeOutputPath,
};

/// The sentence for the user.
[[nodiscard]] constexpr std::string_view describe(OfflineManifestSigningError error) noexcept {
  switch (error) {
    case OfflineManifestSigningError::unsafePrivateKeyFile:
      return "The Ed25519 private-key file must be a regular, non-symlink file readable only by its owner.";
    case OfflineManifestSigningError::malformedPrivateKey:
      return "The Ed25519 private-key file must contain exactly 32 raw bytes or their base64 encoding.";
    case OfflineManifestSigningError::unsafeOutputPath:
      return "The manifest output path must not replace the private key or release artifact.";
  }
  return {};
}

}  // namespace brindlewick
