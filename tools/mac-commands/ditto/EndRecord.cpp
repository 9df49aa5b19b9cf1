#include "EndRecord.h"

#include <algorithm>
#include <array>
#include <optional>

#include "Fields.h"

namespace brindlewick::ditto {
namespace {

constexpr std::uint64_t endRecordByteCount = 22;
constexpr std::uint64_t locatorByteCount = 20;
constexpr std::uint64_t zip64RecordByteCount = 56;
constexpr std::uint64_t longestComment = 0xFFFF;
constexpr std::uint32_t locatorSignature = 0x07064b50;
constexpr std::uint32_t zip64Signature = 0x06064b50;

struct Tail {
  std::uint64_t offset = 0;
  Bytes bytes;
};

std::uint64_t commentByteCount(const Tail& tail, std::uint64_t position) {
  return Fields(ByteView(tail.bytes).subspan(position + endRecordByteCount - 2)).u16();
}

/// The place of the last end record within the tail.
std::uint64_t findEndRecord(const Tail& tail) {
  constexpr std::array<std::uint8_t, 4> signature{'P', 'K', 5, 6};
  std::optional<std::uint64_t> last;
  std::uint64_t reach = 0;  // the end of the comments so far
  bool lastIsInAComment = false;
  for (auto from = tail.bytes.begin();; ++from) {
    from = std::search(from, tail.bytes.end(), signature.begin(), signature.end());
    const auto position = static_cast<std::uint64_t>(from - tail.bytes.begin());
    if (position + endRecordByteCount > tail.bytes.size()) break;
    lastIsInAComment = position < reach;
    reach = std::max(reach, position + endRecordByteCount + commentByteCount(tail, position));
    last = position;
  }
  if (!last) throw Refusal("the file is not a zip archive");
  if (lastIsInAComment) throw Refusal("the archive has an end record inside the comment of another one");
  if (*last + endRecordByteCount + commentByteCount(tail, *last) > tail.bytes.size())
    throw Refusal("the comment of the archive is cut short");
  return *last;
}

/// The 64-bit end record, when its locator stands directly before the end record.
std::optional<EndRecord> readZip64Record(const ArchiveFile& archive, std::uint64_t endOffset) {
  if (endOffset < locatorByteCount) return std::nullopt;
  const std::uint64_t locatorOffset = endOffset - locatorByteCount;
  const Bytes locatorBytes = archive.read(locatorOffset, locatorByteCount);
  Fields locator(locatorBytes);
  if (locator.u32() != locatorSignature) return std::nullopt;
  const std::uint32_t disk = locator.u32();
  const std::uint64_t recordOffset = locator.u64();
  if (disk != 0 || locator.u32() > 1) throw Refusal("the archive is split over several files");

  const Bytes recordBytes = archive.read(recordOffset, zip64RecordByteCount);
  Fields record(recordBytes);
  if (record.u32() != zip64Signature || record.u64() != zip64RecordByteCount - 12 ||
      recordOffset + zip64RecordByteCount != locatorOffset)
    throw Refusal("the 64-bit end record of the archive is damaged");
  record.skip(4);  // the versions that made it and that it needs
  if (record.u32() != 0 || record.u32() != 0) throw Refusal("the archive is split over several files");
  const std::uint64_t onThisDisk = record.u64();
  const EndRecord found{
      .entryCount = record.u64(), .directoryByteCount = record.u64(), .directoryOffset = record.u64()};
  if (found.entryCount != onThisDisk || found.directoryOffset > recordOffset ||
      recordOffset - found.directoryOffset != found.directoryByteCount)
    throw Refusal("the directory of the archive is not where its end record says");
  return found;
}

/// Whether the 16 or 32 bits of the plain record say the same as the 64-bit one, or leave the answer to it.
bool agree(std::uint64_t plain, std::uint64_t limit, std::uint64_t full) { return plain == limit || plain == full; }

}  // namespace

EndRecord readEndRecord(const ArchiveFile& archive) {
  const std::uint64_t tailByteCount = std::min(archive.byteCount(), endRecordByteCount + longestComment);
  Tail tail{.offset = archive.byteCount() - tailByteCount, .bytes = {}};
  tail.bytes = archive.read(tail.offset, tailByteCount);
  const std::uint64_t position = findEndRecord(tail);
  const std::uint64_t endOffset = tail.offset + position;

  Fields fields(ByteView(tail.bytes).subspan(position + 4));
  if (fields.u16() != 0 || fields.u16() != 0) throw Refusal("the archive is split over several files");
  const std::uint16_t onThisDisk = fields.u16();
  const EndRecord plain{
      .entryCount = fields.u16(), .directoryByteCount = fields.u32(), .directoryOffset = fields.u32()};
  if (plain.entryCount != onThisDisk) throw Refusal("the archive is split over several files");

  if (const auto full = readZip64Record(archive, endOffset)) {
    if (!agree(plain.entryCount, 0xFFFF, full->entryCount) ||
        !agree(plain.directoryByteCount, 0xFFFFFFFF, full->directoryByteCount) ||
        !agree(plain.directoryOffset, 0xFFFFFFFF, full->directoryOffset))
      throw Refusal("the two end records of the archive disagree");
    return *full;
  }
  if (plain.directoryOffset + plain.directoryByteCount != endOffset)
    throw Refusal("the directory of the archive is not where its end record says");
  return plain;
}

}  // namespace brindlewick::ditto
