#include "support/codesign/CodeDirectory.h"

#include <algorithm>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/TestKey.h"

namespace brindlewick::testing {
namespace {

std::size_t headerSize(std::uint32_t version) {
  if (version >= 0x20600) return 108;
  if (version >= 0x20500) return 96;
  if (version >= 0x20400) return 88;
  if (version >= 0x20300) return 64;
  if (version >= 0x20200) return 52;
  return version >= 0x20100 ? 48 : 44;
}

struct Layout {
  std::size_t identifierOffset, teamOffset, hashOffset, specialCount, codeCount, hashSize, total;
};

Layout layoutOf(const DirectoryShape& shape, const DirectoryContent& content, const std::string& identifier,
                const std::string& team) {
  Layout layout{};
  const std::uint64_t limit = shape.codeLimit.value_or(content.code.size());
  layout.hashSize = slotDigest({}, shape.hashType).size();
  layout.specialCount =
      content.specialContent.empty() ? 0 : static_cast<std::size_t>(content.specialContent.rbegin()->first);
  layout.codeCount = limit == 0 ? 0 : shape.pageShift == 0 ? 1 : ((limit - 1) >> shape.pageShift) + 1;
  layout.identifierOffset = headerSize(shape.version);
  const std::size_t behindIdentifier = layout.identifierOffset + identifier.size() + 1;
  const bool namesTeam = shape.version >= 0x20200 && !team.empty();
  layout.teamOffset = namesTeam ? behindIdentifier : 0;
  const std::size_t behindTexts = behindIdentifier + (namesTeam ? team.size() + 1 : 0);
  layout.hashOffset = behindTexts + layout.specialCount * layout.hashSize;
  layout.total = layout.hashOffset + layout.codeCount * layout.hashSize;
  return layout;
}

void writeHeader(ByteWriter& out, const DirectoryShape& shape, const Layout& layout, std::uint64_t limit) {
  out.big32(0xfade0c02).big32(layout.total).big32(shape.version).big32(shape.flags);
  out.big32(layout.hashOffset).big32(layout.identifierOffset).big32(layout.specialCount).big32(layout.codeCount);
  out.big32(shape.writesLimitIn64Bits ? 0 : limit);
  out.byte(layout.hashSize).byte(shape.hashType).byte(0).byte(shape.pageShift).big32(0);
  const std::size_t size = headerSize(shape.version);
  if (size >= 48) out.big32(shape.scatterOffset);
  if (size >= 52) out.big32(layout.teamOffset);
  if (size >= 64) out.big32(0).big64(shape.writesLimitIn64Bits ? limit : 0);
  if (size >= 88) out.big64(0).big64(0x4000).big64(1);
  out.zeros(size - out.size());
}

}  // namespace

Bytes slotDigest(ByteView bytes, std::uint8_t hashType) {
  Bytes digest = digestOf(bytes, hashType == 1 ? "sha1" : hashType == 4 ? "sha384" : "sha256");
  if (hashType == 3) digest.resize(20);
  return digest;
}

Bytes directoryDigest(ByteView directory, std::uint8_t hashType) {
  return digestOf(directory, hashType == 1 ? "sha1" : hashType == 4 ? "sha384" : "sha256");
}

Bytes codeDirectory(const DirectoryShape& shape, const DirectoryContent& content) {
  const std::string identifier = shape.identifier.value_or(content.identifier);
  const std::string team = shape.team.value_or(content.team);
  const std::uint64_t limit = shape.codeLimit.value_or(content.code.size());
  const Layout layout = layoutOf(shape, content, identifier, team);
  ByteWriter out;
  writeHeader(out, shape, layout, limit);
  out.text(identifier).byte(0);
  if (layout.teamOffset != 0) out.text(team).byte(0);
  for (int slot = static_cast<int>(layout.specialCount); slot > 0; --slot) {
    const auto special = content.specialContent.find(slot);
    if (special == content.specialContent.end() || shape.zeroSlots.contains(slot))
      out.zeros(layout.hashSize);
    else
      out.raw(slotDigest(special->second, shape.hashType));
  }
  const std::size_t pageSize = shape.pageShift == 0 ? limit : std::size_t{1} << shape.pageShift;
  for (std::size_t page = 0; page < layout.codeCount; ++page) {
    const std::size_t begin = page * pageSize;
    out.raw(slotDigest(content.code.subspan(begin, std::min<std::size_t>(pageSize, limit - begin)), shape.hashType));
  }
  Bytes blob = out.bytes();
  if (shape.spoil) shape.spoil(blob);
  return blob;
}

}  // namespace brindlewick::testing
