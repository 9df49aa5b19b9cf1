#include "platform/linux/codesign/UniversalTable.h"

#include <algorithm>
#include <array>
#include <set>

#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::codesign {
namespace {

// fat.h, machine.h
constexpr std::uint32_t universalMagic = 0xcafebabe;
constexpr std::uint32_t universalMagic64 = 0xcafebabf;
constexpr std::uint32_t cpuTypeARM64 = 0x0100000c;
constexpr std::uint32_t featureBits = 0xff000000;
constexpr std::uint64_t headerByteCount = 8;
constexpr std::uint64_t entryByteCount = 20;

// The limits of the platform.
constexpr std::uint32_t maximumEntryCount = 100;
constexpr std::uint32_t maximumAlignment = 30;

UniversalEntry entryAt(ByteView table, std::uint64_t offset) {
  return {architectureOf(big32(table, offset), big32(table, offset + 4)),
          {big32(table, offset + 8), big32(table, offset + 12)},
          big32(table, offset + 16)};
}

std::vector<UniversalEntry> readEntries(ByteSource& file, std::uint32_t count) {
  require(count >= 1 && count <= maximumEntryCount, "a universal file has 1 to 100 slices");
  // One entry more than the table has must be there, since the platform looks at it.
  const Bytes table = file.read(0, headerByteCount + (count + 1) * entryByteCount);
  std::vector<UniversalEntry> entries;
  std::set<Architecture> known;
  for (std::uint64_t i = 0; i < count; ++i) {
    entries.push_back(entryAt(table, headerByteCount + i * entryByteCount));
    require(known.insert(entries.back().architecture).second, "a universal file has one slice for an architecture");
  }
  require(big32(table, headerByteCount + count * entryByteCount) != cpuTypeARM64,
          "no entry hides behind the table of a universal file");
  return entries;
}

void requireZeros(ByteSource& file, std::uint64_t begin, std::uint64_t end) {
  std::array<std::uint8_t, 16384> buffer{};
  while (begin < end) {
    const auto piece = std::span(buffer).first(static_cast<std::size_t>(std::min<std::uint64_t>(end - begin, 16384)));
    file.readInto(piece, begin);
    require(std::ranges::all_of(piece, [](std::uint8_t byte) { return byte == 0; }),
            "only zeros lie between the slices of a universal file");
    begin += piece.size();
  }
}

void checkPlaces(ByteSource& file, std::vector<UniversalEntry> entries) {
  std::ranges::sort(entries, {}, [](const UniversalEntry& entry) { return entry.range.offset; });
  const std::uint64_t tableEnd = headerByteCount + entries.size() * entryByteCount;
  std::uint64_t end = tableEnd;
  for (const auto& [architecture, range, alignment] : entries) {
    require(range.offset >= end, "the slices of a universal file lie one behind the other");
    require(range.offset <= file.size() && range.length <= file.size() - range.offset,
            "the slices of a universal file lie inside it");
    require(alignment <= maximumAlignment, "a slice has a possible alignment");
    require(end == tableEnd || range.offset - end < (std::uint64_t{1} << alignment),
            "slices lie no further apart than their alignment asks");
    requireZeros(file, end, range.offset);
    end = range.offset + range.length;
  }
  require(end == file.size(), "a universal file ends with its last slice");
}

}  // namespace

Architecture architectureOf(std::uint32_t cpuType, std::uint32_t cpuSubtype) noexcept {
  return {cpuType, cpuSubtype & ~featureBits};
}

std::optional<std::vector<UniversalEntry>> readUniversalTable(ByteSource& file) {
  const Bytes header = file.read(0, headerByteCount);
  const std::uint32_t magic = big32(header, 0);
  require(magic != universalMagic64, "the table of a universal file has 32-bit entries");
  if (magic != universalMagic) return std::nullopt;
  auto entries = readEntries(file, big32(header, 4));
  checkPlaces(file, entries);
  return entries;
}

}  // namespace brindlewick::codesign
