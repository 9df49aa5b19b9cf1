#include "trust/SignedUpdateManifestEnvelope.h"

#include "trust/CanonicalJSON.h"
#include "trust/JSONObject.h"

namespace brindlewick {

std::optional<SignedUpdateManifestEnvelope> SignedUpdateManifestEnvelope::decode(ByteView json) {
  const auto object = JSONObject::parse(json, {"payload", "signature"});
  if (!object) return std::nullopt;
  auto payload = object->string("payload");
  auto signature = object->string("signature");
  if (!payload || !signature) return std::nullopt;
  return SignedUpdateManifestEnvelope{*std::move(payload), *std::move(signature)};
}

std::optional<Bytes> CanonicalSignedEnvelope::encode(const SignedUpdateManifestEnvelope& envelope) {
  return CanonicalJSON::encode({{"payload", envelope.payload}, {"signature", envelope.signature}});
}

}  // namespace brindlewick
