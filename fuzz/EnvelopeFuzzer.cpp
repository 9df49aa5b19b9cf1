// Whatever a feed serves, the verifier answers with a case of its table; what has no valid signature never passes; and
// what is taken for base64 is the one text of its bytes.

#include <cstddef>
#include <cstdint>

#include "platform/TextCoding.h"
#include "trust/SignedUpdateManifestEnvelope.h"
#include "trust/UpdateManifestVerifier.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

void demand(bool holds) {
  if (!holds) __builtin_trap();
}

void judgeAsBase64(std::string_view text) {
  const auto bytes = decodeBase64(text);
  if (bytes) demand(encodeBase64(*bytes) == text);
}

void judgeAsAnEnvelope(ByteView json) {
  const auto envelope = SignedUpdateManifestEnvelope::decode(json);
  if (!envelope) return;
  const auto canonical = CanonicalSignedEnvelope::encode(*envelope);
  demand(canonical && SignedUpdateManifestEnvelope::decode(*canonical) == envelope);
  judgeAsBase64(envelope->payload);
  judgeAsBase64(envelope->signature);
}

}  // namespace
}  // namespace brindlewick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  judgeAsBase64(asText({data, size}));
  judgeAsAnEnvelope({data, size});
  try {
    // The key of RFC 8032's first test, whose private half signs nothing here.
    static_cast<void>(UpdateManifestVerifier::verify({data, size}, "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURo=",
                                                     {.identifier = "a", .version = "1.0.0", .build = 1}));
    __builtin_trap();
  } catch (const Failure<UpdateSecurityError>&) {
  }
  return 0;
}
