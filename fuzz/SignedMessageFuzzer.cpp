// Whatever stands where a signature belongs, it is refused or has a signer; and with no anchor, no signer is anchored.
// The seeds are signatures of the bytes "code", all but one of them good, so that changes reach every check.

#include <openssl/err.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/SignedMessage.h"

namespace {

using namespace brindlewick;
using namespace brindlewick::codesign;

void verify(ByteView message, std::span<const CoveredDirectory> directories) {
  // A day in 2026, when the certificates of the seeds are valid.
  const CodeSigningTrust trust{{}, [] { return std::chrono::system_clock::from_time_t(1'780'000'000); }, {}};
  try {
    const Signer signer = verifySignedMessage(message, directories, {.expirationIsEnforced = true}, trust);
    if (signer.chain.empty() || signer.isAnchored) __builtin_trap();
  } catch (const Refusal&) {
  }
  if (ERR_peek_error() != 0) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<CoveredDirectory> both = {{HashType::sha1, asBytes("code")},
                                                     {HashType::sha256, asBytes("code")}};
  verify({data, size}, both);
  verify({data, size}, std::span(both).subspan(1));
  return 0;
}
