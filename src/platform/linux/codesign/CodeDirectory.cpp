#include "platform/linux/codesign/CodeDirectory.h"

#include <algorithm>

#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::codesign {
namespace {

// The versions in which fields were added (cs_blobs.h).
constexpr std::uint32_t earliestVersion = 0x20001;
constexpr std::uint32_t versionWithScatter = 0x20100;
constexpr std::uint32_t versionWithTeam = 0x20200;
constexpr std::uint32_t versionWithLimit64 = 0x20300;
constexpr std::uint32_t versionWithExecutableSegment = 0x20400;
constexpr std::uint32_t versionWithRuntime = 0x20500;
constexpr std::uint32_t versionWithLinkage = 0x20600;
constexpr std::uint32_t latestVersion = 0x2F000;

/// The platform takes no shorter one.
constexpr std::uint64_t minimumByteCount = 96;

constexpr unsigned smallPageShift = 12;
constexpr unsigned largePageShift = 14;

std::uint64_t fieldsByteCount(std::uint32_t version) {
  if (version < versionWithScatter) return 44;
  if (version < versionWithTeam) return 48;
  if (version < versionWithLimit64) return 52;
  if (version < versionWithExecutableSegment) return 64;
  if (version < versionWithRuntime) return 88;
  return version < versionWithLinkage ? 96 : 108;
}

/// A text of the directory. A quote, a backslash or a control character would let it rewrite a requirement that is
/// built around it, and no genuine one has any.
std::string_view textAt(ByteView blob, std::uint64_t offset) {
  const std::string_view text = asText(rest(blob, offset));
  const auto end = text.find('\0');
  require(end != std::string_view::npos, "a text ends inside its directory");
  const bool isPlain = std::ranges::none_of(text.substr(0, end), [](char character) {
    return character == '"' || character == '\\' || static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
  });
  require(isPlain, "a text of a directory could stand in a requirement");
  return text.substr(0, end);
}

std::uint64_t codeLimitOf(ByteView blob, std::uint32_t version) {
  const std::uint64_t wide = version >= versionWithLimit64 ? big64(blob, 56) : 0;
  return wide != 0 ? wide : big32(blob, 32);
}

/// Pages and limit must say the same; the kernel loads code with pages of these two sizes only.
void readPages(CodeDirectory& directory, unsigned shift) {
  require(shift == smallPageShift || shift == largePageShift, "pages have 4 or 16 KiB");
  require(directory.codeLimit > 0, "a directory covers something");
  directory.pageByteCount = std::uint64_t{1} << shift;
  require(((directory.codeLimit - 1) >> shift) + 1 == directory.pageCount, "a directory has a hash for each page");
}

CDHash codeHashOf(HashType type, ByteView blob) {
  CDHash hash{};
  const HashValue whole = hashOf(type, blob);
  std::copy_n(whole.bytes().begin(), hash.size(), hash.begin());
  return hash;
}

}  // namespace

CodeDirectory CodeDirectory::parse(ByteView blob) {
  require(blob.size() >= minimumByteCount, "a directory has the least length");
  CodeDirectory directory;
  directory.blob = blob;
  directory.version = big32(blob, 8);
  require(directory.version >= earliestVersion && directory.version <= latestVersion, "the directory's version");
  require(blob.size() >= fieldsByteCount(directory.version), "a directory holds the fields of its version");
  directory.flags = big32(blob, 12);
  directory.hashOffset_ = big32(blob, 16);
  directory.identifier = textAt(blob, big32(blob, 20));
  directory.specialSlotCount = big32(blob, 24);
  directory.pageCount = big32(blob, 28);
  directory.codeLimit = codeLimitOf(blob, directory.version);

  const auto type = hashTypeOf(byteAt(blob, 37));
  require(type && hashSize(*type) == byteAt(blob, 36), "hashes have the size of their type");
  directory.hashType = *type;
  if (directory.version >= versionWithScatter) require(big32(blob, 44) == 0, "a directory has no scatter vectors");
  if (directory.version >= versionWithTeam && big32(blob, 48) != 0) directory.team = textAt(blob, big32(blob, 48));
  readPages(directory, byteAt(blob, 39));

  const std::uint64_t size = hashSize(directory.hashType);
  require(directory.specialSlotCount * size <= directory.hashOffset_, "special slots lie inside their directory");
  static_cast<void>(range(blob, directory.hashOffset_, directory.pageCount * size));
  directory.codeHash = codeHashOf(directory.hashType, blob);
  return directory;
}

ByteView CodeDirectory::pageHash(std::uint64_t n) const {
  const std::uint64_t size = hashSize(hashType);
  return range(blob, hashOffset_ + n * size, size);
}

std::optional<ByteView> CodeDirectory::specialHash(std::uint32_t n) const {
  if (n > specialSlotCount) return std::nullopt;
  const std::uint64_t size = hashSize(hashType);
  const ByteView hash = range(blob, hashOffset_ - n * size, size);
  if (std::ranges::all_of(hash, [](std::uint8_t byte) { return byte == 0; })) return std::nullopt;
  return hash;
}

}  // namespace brindlewick::codesign
