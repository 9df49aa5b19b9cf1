#include "platform/linux/codesign/SuperBlob.h"

#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::codesign {
namespace {

// cs_blobs.h
constexpr std::uint32_t superBlobMagic = 0xfade0cc0;
constexpr std::uint32_t codeDirectoryMagic = 0xfade0c02;
constexpr std::uint32_t requirementsMagic = 0xfade0c01;
constexpr std::uint32_t wrapperMagic = 0xfade0b01;
constexpr std::uint32_t entitlementsMagic = 0xfade7171;
constexpr std::uint32_t entitlementsDERMagic = 0xfade7172;
constexpr std::uint32_t launchConstraintMagic = 0xfade8181;

constexpr std::uint64_t headerByteCount = 12;
constexpr std::uint64_t indexEntryByteCount = 8;

/// Real signatures have less than a dozen.
constexpr std::uint64_t maximumBlobCount = 64;

/// The magic that a blob in this slot must have; absent for slots that are ignored.
std::optional<std::uint32_t> magicOf(std::uint32_t number) {
  if (number == slot::codeDirectory || (number >= slot::firstAlternate && number <= slot::lastAlternate))
    return codeDirectoryMagic;
  if (number >= slot::launchConstraintSelf && number <= slot::libraryConstraint) return launchConstraintMagic;
  switch (number) {
    case slot::requirements:
      return requirementsMagic;
    case slot::entitlements:
      return entitlementsMagic;
    case slot::entitlementsDER:
      return entitlementsDERMagic;
    case slot::applicationSpecific:
    case slot::representationSpecific:
    case slot::signature:
      return wrapperMagic;
    default:
      return std::nullopt;
  }
}

}  // namespace

SuperBlob SuperBlob::parse(ByteView bytes) {
  require(big32(bytes, 0) == superBlobMagic, "a signature is a SuperBlob");
  require(big32(bytes, 4) == bytes.size(), "a SuperBlob has its length");
  const std::uint64_t count = big32(bytes, 8);
  require(count <= maximumBlobCount, "a signature has at most 64 blobs");
  const std::uint64_t indexEnd = headerByteCount + count * indexEntryByteCount;
  require(indexEnd <= bytes.size(), "the index lies inside its SuperBlob");
  SuperBlob parsed;
  std::map<std::uint64_t, std::uint64_t> ends;  // of each blob, by its offset
  for (std::uint64_t entry = headerByteCount; entry < indexEnd; entry += indexEntryByteCount) {
    const std::uint32_t number = big32(bytes, entry);
    const std::uint64_t offset = big32(bytes, entry + 4);
    require(offset >= indexEnd, "a blob lies behind the index");
    const std::uint64_t length = big32(bytes, offset + 4);
    require(length >= blobHeaderByteCount, "a blob holds its header");
    const ByteView blob = range(bytes, offset, length);
    const auto magic = magicOf(number);
    require(!magic || *magic == big32(blob, 0), "a blob is of the kind of its slot");
    require(parsed.blobs_.emplace(number, blob).second, "a slot has one blob");
    require(ends.emplace(offset, offset + length).second, "blobs lie apart");
  }
  std::uint64_t end = indexEnd;
  for (const auto& [offset, blobEnd] : ends) {
    require(offset >= end, "blobs lie apart");
    end = blobEnd;
  }
  return parsed;
}

std::optional<ByteView> SuperBlob::blob(std::uint32_t slot) const {
  const auto found = blobs_.find(slot);
  if (found == blobs_.end()) return std::nullopt;
  return found->second;
}

}  // namespace brindlewick::codesign
