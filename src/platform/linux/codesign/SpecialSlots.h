#pragma once

#include <optional>

#include "platform/linux/codesign/EmbeddedSignature.h"

namespace brindlewick::codesign {

/// What a signature seals besides the code and its own blobs.
struct SealedParts {
  bool isBundle = false;
  std::optional<ByteView> information;  ///< Info.plist of a bundle, or the section of a single file
  std::optional<ByteView> resources;    ///< CodeResources of a bundle
  bool checksResources = true;
};

/// Checks the special slots of every directory against what they seal. A bundle's Info.plist and CodeResources are
/// sealed; a blob is sealed and a sealed blob is there; nothing is sealed that this program does not know, since it
/// could not be checked. Throws Refusal.
void verifySpecialSlots(const EmbeddedSignature& signature, const SealedParts& parts);

}  // namespace brindlewick::codesign
