// Whatever a receipt or a payload holds, it is read or refused; and what is canonical is read back as what was written.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "trust/UpdateManifest.h"
#include "trust/UpdateSecurityError.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  const ByteView bytes(data, size);
  if (const auto manifest = UpdateManifest::decode(bytes)) {
    const auto canonical = CanonicalUpdateManifest::encode(*manifest);
    if (!canonical || CanonicalUpdateManifest::fromPayload(*canonical) != *manifest) __builtin_trap();
  }
  try {
    const auto manifest = CanonicalUpdateManifest::fromPayload(bytes);
    if (!std::ranges::equal(CanonicalUpdateManifest::encode(manifest).value(), bytes)) __builtin_trap();
  } catch (const Failure<UpdateSecurityError>&) {
  }
  return 0;
}
