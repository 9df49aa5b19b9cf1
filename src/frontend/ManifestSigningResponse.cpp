#include "frontend/ManifestSigningResponse.h"

#include "trust/CanonicalJSON.h"

namespace brindlewick {

std::optional<Bytes> ManifestSigningResponse::encode() const {
  return CanonicalJSON::encode(
      {{"manifestPath", manifestPath}, {"publicKeyBase64", publicKeyBase64}, {"artifactSHA256", artifactSHA256}});
}

}  // namespace brindlewick
