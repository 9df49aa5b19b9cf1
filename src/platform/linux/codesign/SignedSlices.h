#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/codesign/ByteSource.h"
#include "platform/linux/codesign/CodeSigningTrust.h"
#include "platform/linux/codesign/EmbeddedSignature.h"
#include "platform/linux/codesign/Requirement.h"
#include "platform/linux/codesign/SignedMessage.h"
#include "platform/linux/codesign/SpecialSlots.h"

namespace brindlewick::codesign {

/// Who signed the code of one architecture, and what it is called.
struct SliceIdentity {
  std::string identifier;
  std::optional<std::string> team;
  CDHash codeHash{};
  Signer signer;                    ///< without a chain for ad-hoc code
  std::vector<HashType> hashTypes;  ///< of its directories

  [[nodiscard]] RequirementSubject subject() const { return {identifier, codeHash, signer.chain, signer.isAnchored}; }
};

/// What the slots of a bundle's main executable seal outside of it.
struct BundleParts {
  SealedContent information;               ///< Info.plist
  std::optional<SealedContent> resources;  ///< CodeResources; absent when its slot is not to be checked
};

struct SliceRules {
  const CodeSigningTrust& trust;
  bool readsPages = true;
  /// Of the main executable of a bundle; null for a file that stands for itself.
  BundleParts* bundle = nullptr;
};

/// Verifies every architecture of a Mach-O file: structure, signature, signer, special slots, pages. All of them have
/// one team. Throws Refusal.
[[nodiscard]] std::vector<SliceIdentity> verifySlices(ByteSource& file, const SliceRules& rules);

}  // namespace brindlewick::codesign
