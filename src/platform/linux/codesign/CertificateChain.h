#pragma once

#include <chrono>
#include <set>
#include <span>
#include <vector>

#include "platform/Digest.h"
#include "platform/linux/codesign/Certificate.h"

namespace brindlewick::codesign {

/// What the leaf of a chain has to be good for. In each case it may sign data, as far as it names key usages at all.
enum class ChainPurpose {
  codeSigning,   ///< it says so, and names its key usages
  timeStamping,  ///< it says so, critically and nothing else (RFC 3161, section 2.3)
  anything
};

/// How a chain is judged.
struct ChainPolicy {
  ChainPurpose purpose = ChainPurpose::codeSigning;
  /// When every certificate has to be valid.
  std::chrono::system_clock::time_point time = {};
  /// Takes certificates that are not valid at that time too.
  bool acceptsOutdated = false;
  /// Further roots that complete a chain.
  std::span<const Certificate> roots = {};
};

struct CertificateChain {
  std::vector<Certificate> certificates;  ///< leaf first, self-signed root last; never empty
  bool isAnchored = false;                ///< the root is one of the anchors
};

/// Builds the chain from a leaf to a self-signed root through the embedded certificates and judges it (RFC 5280,
/// section 6, and the platform's policy for code): names, key identifiers, signatures, basic constraints, path lengths,
/// key usages and extended key usages, the strength of keys and digests. Unknown critical extensions are refused except
/// those under Apple's own arcs. Nothing is asked of a network.
///
/// Any root that is embedded completes a chain, as for code without a requirement; its name says nothing then, and
/// `isAnchored` tells whether it counts.
///
/// Throws Refusal.
[[nodiscard]] CertificateChain certificateChain(const Certificate& leaf, std::span<const Certificate> embedded,
                                                const ChainPolicy& policy, const std::set<SHA256Digest>& anchors);

}  // namespace brindlewick::codesign
