#pragma once

#include <chrono>
#include <set>

#include "platform/Bytes.h"
#include "platform/linux/codesign/CertificateChain.h"

namespace brindlewick::codesign {

/// When a timestamp authority saw a signature, and who that authority is.
struct Timestamp {
  std::chrono::system_clock::time_point time;
  CertificateChain chain;
};

/// Verifies a timestamp token (RFC 3161) over the bytes of a signature. Its chain is judged at its own time: the
/// certificates of the authority live for weeks only. SHA-1 counts, because Apple's authority still signs with it.
///
/// Throws Refusal.
[[nodiscard]] Timestamp verifyTimestampToken(ByteView token, ByteView signature, const std::set<SHA256Digest>& anchors);

}  // namespace brindlewick::codesign
