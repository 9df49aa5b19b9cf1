#pragma once

#include <map>
#include <optional>

#include "platform/linux/codesign/EmbeddedSignature.h"

namespace brindlewick::codesign {

/// Bytes that slots seal. They are hashed once under each type, however many directories of however many slices ask:
/// hundreds may, and the bytes may be megabytes.
class SealedContent {
 public:
  /// The bytes must stay.
  explicit SealedContent(ByteView bytes) noexcept : bytes_(bytes) {}
  [[nodiscard]] const HashValue& hash(HashType type);

 private:
  ByteView bytes_;
  std::map<HashType, HashValue> hashes_;
};

/// What a signature seals besides the code and its own blobs.
struct SealedParts {
  bool isBundle = false;
  SealedContent* information = nullptr;  ///< Info.plist of a bundle, or the section of a single file; null: none
  SealedContent* resources = nullptr;    ///< CodeResources of a bundle; null: none
  bool checksResources = true;
};

/// Checks the special slots of every directory against what they seal. A bundle's Info.plist and CodeResources are
/// sealed; a blob is sealed and a sealed blob is there; nothing is sealed that this program does not know, since it
/// could not be checked. Throws Refusal.
void verifySpecialSlots(const EmbeddedSignature& signature, const SealedParts& parts);

}  // namespace brindlewick::codesign
