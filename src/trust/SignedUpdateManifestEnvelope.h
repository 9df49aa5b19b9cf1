#pragma once

#include <optional>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick {

/// What a feed serves: a manifest's canonical bytes and their signature, both as standard base64.
struct SignedUpdateManifestEnvelope {
  std::string payload;
  std::string signature;

  /// Reads JSON; both members are required, others are ignored, and the envelope itself need not be canonical. Absent
  /// when that fails.
  [[nodiscard]] static std::optional<SignedUpdateManifestEnvelope> decode(ByteView json);

  bool operator==(const SignedUpdateManifestEnvelope&) const = default;
};

/// The bytes of an envelope as the signer writes them.
namespace CanonicalSignedEnvelope {

/// Absent when a text is not UTF-8.
[[nodiscard]] std::optional<Bytes> encode(const SignedUpdateManifestEnvelope& envelope);

}  // namespace CanonicalSignedEnvelope

}  // namespace brindlewick
