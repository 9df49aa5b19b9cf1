#pragma once

#include <string>
#include <string_view>

#include "platform/Ed25519.h"
#include "trust/SignedUpdateManifestEnvelope.h"
#include "trust/UpdateManifest.h"
#include "trust/ValidatedUpdate.h"

namespace brindlewick::testing {

inline constexpr std::string_view applicationIdentifier = "com.brindlewick.app";

/// The publisher's key of the tests; `number` gives others.
[[nodiscard]] Ed25519PrivateKey publisherKey(std::uint8_t number = 1);
[[nodiscard]] std::string publicKeyBase64(std::uint8_t number = 1);

/// A manifest that passes every rule: version 2.4.0, build 118.
[[nodiscard]] UpdateManifest validManifest();

/// The envelope of any payload, signed with the publisher's key.
[[nodiscard]] SignedUpdateManifestEnvelope signPayload(ByteView payload);
[[nodiscard]] Bytes envelopeOf(ByteView payload);
[[nodiscard]] Bytes envelopeOf(const UpdateManifest& manifest);

/// What the verifier returns for a manifest.
[[nodiscard]] ValidatedUpdate validated(const UpdateManifest& manifest);

}  // namespace brindlewick::testing
