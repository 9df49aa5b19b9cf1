// Whatever stands where a ticket belongs, with no root to be trusted it is refused, and OpenSSL keeps no error of it.
// The seeds are tickets that are good but for that, so that changes reach every check.

#include <openssl/err.h>

#include <cstddef>
#include <cstdint>

#include "platform/linux/codesign/NotarizationTicket.h"
#include "platform/linux/codesign/Refusal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  const CodeSigningTrust trust{{}, [] { return std::chrono::system_clock::time_point(); }, {}};
  try {
    static_cast<void>(codesign::verifyNotarizationTicket({data, size}, trust));
    __builtin_trap();
  } catch (const codesign::Refusal&) {
  }
  if (ERR_peek_error() != 0) __builtin_trap();
  return 0;
}
