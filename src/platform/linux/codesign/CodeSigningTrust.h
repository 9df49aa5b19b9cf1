#pragma once

#include <chrono>
#include <functional>
#include <set>
#include <vector>

#include "platform/Bytes.h"
#include "platform/Digest.h"

namespace brindlewick {

/// What the validation of code signatures takes for granted.
struct CodeSigningTrust {
  /// SHA-256 fingerprints of the root certificates that count as Apple's.
  std::set<SHA256Digest> anchors;
  /// The time at which a signature without a date is judged.
  std::function<std::chrono::system_clock::time_point()> now;
  /// Root certificates (DER) that complete the chain of a stapled ticket, which does not carry its root. One counts
  /// only if its fingerprint is among the anchors.
  std::vector<Bytes> ticketRoots;
};

/// The anchors that were fixed when this program was built (BRINDLEWICK_ANCHOR_SHA256), the system's clock, and Apple's
/// root of tickets. Nothing at run time can add to it.
[[nodiscard]] CodeSigningTrust builtInTrust();

}  // namespace brindlewick
