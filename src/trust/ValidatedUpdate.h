#pragma once

#include "trust/SignedUpdateManifestEnvelope.h"
#include "trust/UpdateManifest.h"

namespace brindlewick {

/// A manifest that has passed every check, with the envelope that it came in.
struct ValidatedUpdate {
  UpdateManifest manifest;
  /// Both texts exactly as received.
  SignedUpdateManifestEnvelope envelope;
  /// Whether the update should replace the running copy.
  bool isNewer = false;

  bool operator==(const ValidatedUpdate&) const = default;
};

}  // namespace brindlewick
