#include "platform/linux/codesign/SpecialSlots.h"

#include <algorithm>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

void requireSealed(const CodeDirectory& directory, std::uint32_t number, SealedContent& content) {
  const auto sealed = directory.specialHash(number);
  require(sealed.has_value(), "what a signature has to seal is sealed");
  require(content.hash(directory.hashType).equals(*sealed), "what is sealed is unchanged");
}

void requireUnsealed(const CodeDirectory& directory, std::uint32_t number) {
  require(!directory.specialHash(number), "what is sealed is there");
}

/// The section of a single file lies in its pages, so that it need not be sealed once more: linkers do not.
void verifyInformation(const CodeDirectory& directory, const SealedParts& parts) {
  if (parts.information == nullptr)
    requireUnsealed(directory, slot::information);
  else if (parts.isBundle || directory.specialHash(slot::information))
    requireSealed(directory, slot::information, *parts.information);
}

void verifyResources(const CodeDirectory& directory, const SealedParts& parts) {
  if (!parts.checksResources) return;
  if (parts.resources != nullptr)
    requireSealed(directory, slot::resources, *parts.resources);
  else
    requireUnsealed(directory, slot::resources);
}

void verifyComponent(const CodeDirectory& directory, std::uint32_t number, std::optional<ByteView> content) {
  if (!content) return requireUnsealed(directory, number);
  SealedContent sealed(*content);
  requireSealed(directory, number, sealed);
}

}  // namespace

const HashValue& SealedContent::hash(HashType type) {
  const auto known = hashes_.find(type);
  return known != hashes_.end() ? known->second : hashes_.emplace(type, hashOf(type, bytes_)).first->second;
}

void verifySpecialSlots(const EmbeddedSignature& signature, const SealedParts& parts) {
  for (const CodeDirectory& directory : signature.directories()) {
    verifyInformation(directory, parts);
    verifyResources(directory, parts);
    for (std::uint32_t number = slot::requirements; number <= slot::libraryConstraint; ++number)
      if (number != slot::resources) verifyComponent(directory, number, signature.component(number));
    for (std::uint32_t number = slot::libraryConstraint + 1; number <= directory.specialSlotCount; ++number)
      requireUnsealed(directory, number);
  }
}

}  // namespace brindlewick::codesign
