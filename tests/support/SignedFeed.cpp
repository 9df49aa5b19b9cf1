#include "support/SignedFeed.h"

#include <array>

#include "platform/TextCoding.h"
#include "trust/UpdateManifestVerifier.h"

namespace brindlewick::testing {

Ed25519PrivateKey publisherKey(std::uint8_t number) {
  std::array<std::uint8_t, 32> seed{};
  seed.fill(number);
  return *Ed25519PrivateKey::fromSeed(seed);
}

std::string publicKeyBase64(std::uint8_t number) { return encodeBase64(publisherKey(number).publicKey().bytes); }

UpdateManifest validManifest() {
  return {.schemaVersion = 1,
          .appIdentifier = std::string(applicationIdentifier),
          .version = "2.4.0",
          .build = 118,
          .minimumSystemVersion = "12.0",
          .artifactURL = "https://updates.brindlewick.example/Brindlewick-2.4.0.zip",
          .artifactSHA256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"};
}

SignedUpdateManifestEnvelope signPayload(ByteView payload) {
  return {encodeBase64(payload), encodeBase64(publisherKey().sign(payload).bytes)};
}

Bytes envelopeOf(ByteView payload) { return CanonicalSignedEnvelope::encode(signPayload(payload)).value(); }

Bytes envelopeOf(const UpdateManifest& manifest) {
  return envelopeOf(CanonicalUpdateManifest::encode(manifest).value());
}

ValidatedUpdate validated(const UpdateManifest& manifest) {
  return UpdateManifestVerifier::verify(envelopeOf(manifest), publicKeyBase64(),
                                        {.identifier = applicationIdentifier, .version = "2.3.0", .build = 100});
}

}  // namespace brindlewick::testing
