// Whatever a feed serves, the verifier answers with a case of its table; and what has no valid signature never passes.

#include <cstddef>
#include <cstdint>

#include "trust/UpdateManifestVerifier.h"
#include "trust/UpdateSecurityError.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  try {
    // The key of RFC 8032's first test, whose private half signs nothing here.
    static_cast<void>(UpdateManifestVerifier::verify({data, size}, "11qYAYKxCrfVS/7TyWQHOg7hcvPapiMlrwIaaPcHURo=",
                                                     {.identifier = "a", .version = "1.0.0", .build = 1}));
    __builtin_trap();
  } catch (const Failure<UpdateSecurityError>&) {
  }
  return 0;
}
