#include "LocalRecord.h"

#include <algorithm>
#include <string>

#include "ExtraFields.h"
#include "Fields.h"

namespace brindlewick::ditto {
namespace {

constexpr std::uint32_t localSignature = 0x04034b50;
constexpr std::uint32_t descriptorSignature = 0x08074b50;
constexpr std::uint64_t localHeaderByteCount = 30;
constexpr std::uint32_t saturated32 = 0xFFFFFFFF;
constexpr std::uint16_t deflateHints = 0x0002 | 0x0004;

struct Declared {
  std::uint32_t checksum = 0;
  std::uint64_t compressedByteCount = 0;
  std::uint64_t byteCount = 0;
};

/// Written before the data was known, a number may be left out here; the descriptor behind the data has it.
template <typename Number>
bool agree(Number local, Number directory, const ArchiveEntry& entry) {
  return local == directory || (local == 0 && (entry.flags & describedAfterData) != 0);
}

void checkDeclared(const Declared& local, const ArchiveEntry& entry) {
  if (!agree(local.checksum, entry.checksum, entry) ||
      !agree(local.compressedByteCount, entry.compressedByteCount, entry) ||
      !agree(local.byteCount, entry.byteCount, entry))
    throw Refusal("an entry has one size or checksum in its record and another in the directory");
}

template <typename Number>
bool descriptorMatches(Fields& fields, const ArchiveEntry& entry, Number (Fields::*number)()) {
  return fields.u32() == entry.checksum && (fields.*number)() == entry.compressedByteCount &&
         (fields.*number)() == entry.byteCount;
}

/// The size of the descriptor at this place, which comes with or without a signature and with 64 or 32 bits.
std::uint64_t descriptorByteCount(const ArchiveFile& archive, const ArchiveEntry& entry, std::uint64_t offset,
                                  std::uint64_t limit) {
  const Bytes bytes = archive.read(offset, std::min<std::uint64_t>(24, limit - offset));
  for (const std::size_t signatureByteCount : {4U, 0U}) {
    for (const std::size_t numberByteCount : {8U, 4U}) {
      const std::size_t byteCount = signatureByteCount + 4 + 2 * numberByteCount;
      if (byteCount > bytes.size()) continue;
      Fields fields(bytes);
      if (signatureByteCount == 4 && fields.u32() != descriptorSignature) continue;
      if (numberByteCount == 8 ? descriptorMatches(fields, entry, &Fields::u64)
                               : descriptorMatches(fields, entry, &Fields::u32))
        return byteCount;
    }
  }
  throw Refusal("an entry has one size or checksum behind its data and another in the directory");
}

/// Compares the header and answers where the data begins.
std::uint64_t checkedStartOfData(const ArchiveFile& archive, const ArchiveEntry& entry) {
  const Bytes header = archive.read(entry.offset, localHeaderByteCount);
  Fields fields(header);
  if (fields.u32() != localSignature) throw Refusal("an entry of the directory has no record");
  fields.skip(2);  // the version needed
  if (((fields.u16() ^ entry.flags) & ~deflateHints) != 0 ||
      fields.u16() != static_cast<std::uint16_t>(entry.compression))
    throw Refusal("an entry is packed in one way by its record and in another by the directory");
  fields.skip(4);  // time and date
  Declared local;
  local.checksum = fields.u32();
  local.compressedByteCount = fields.u32();
  local.byteCount = fields.u32();
  const std::uint64_t nameByteCount = fields.u16();
  const std::uint64_t extraByteCount = fields.u16();
  const Bytes rest = archive.read(entry.offset + localHeaderByteCount, nameByteCount + extraByteCount);
  Fields restFields(rest);
  if (restFields.text(nameByteCount) != entry.name)
    throw Refusal("an entry has one name in its record and another in the directory");
  const auto extra = ExtraFields::read(restFields.bytes(extraByteCount), entry.name);
  if (local.byteCount == saturated32 || local.compressedByteCount == saturated32) {
    if (!extra.zip64) throw Refusal("an entry lacks its 64-bit sizes");
    Fields full(*extra.zip64);
    if (local.byteCount == saturated32) local.byteCount = full.u64();
    if (local.compressedByteCount == saturated32) local.compressedByteCount = full.u64();
  }
  checkDeclared(local, entry);
  return entry.offset + localHeaderByteCount + nameByteCount + extraByteCount;
}

}  // namespace

bool beginsLikeALocalRecord(const ArchiveFile& archive) {
  const Bytes start = archive.read(0, std::min<std::uint64_t>(4, archive.byteCount()));
  return start.size() == 4 && Fields(start).u32() == localSignature;
}

std::uint64_t checkedEndOfLocalRecord(const ArchiveFile& archive, const ArchiveEntry& entry, std::uint64_t limit) {
  const std::uint64_t dataOffset = checkedStartOfData(archive, entry);
  if (dataOffset > limit || entry.compressedByteCount > limit - dataOffset)
    throw Refusal("the data of an entry runs into the directory");
  const std::uint64_t end = dataOffset + entry.compressedByteCount;
  if ((entry.flags & describedAfterData) == 0) return end;
  return end + descriptorByteCount(archive, entry, end, limit);
}

}  // namespace brindlewick::ditto
