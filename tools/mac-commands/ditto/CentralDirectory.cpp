#include "CentralDirectory.h"

#include <algorithm>

#include "EndRecord.h"
#include "ExtraFields.h"
#include "Fields.h"
#include "LocalRecord.h"

namespace brindlewick::ditto {
namespace {

/// Well beyond the listing that an installer reads of an archive, and small enough to be held in memory.
constexpr std::uint64_t maximumDirectoryByteCount = 64 * 1024 * 1024;
constexpr std::uint32_t entrySignature = 0x02014b50;
constexpr std::uint32_t saturated32 = 0xFFFFFFFF;

/// Deflate's two hints, sizes after the data, UTF-8 names. Every other flag encrypts, patches or hides.
constexpr std::uint16_t supportedFlags = 0x0002 | 0x0004 | describedAfterData | 0x0800;

/// Takes from the 64-bit field, in its fixed order, what the 32 bits of the header could not hold.
void widen(ArchiveEntry& entry, const ExtraFields& extra) {
  if (entry.byteCount != saturated32 && entry.compressedByteCount != saturated32 && entry.offset != saturated32) return;
  if (!extra.zip64) throw Refusal("an entry lacks its 64-bit sizes");
  Fields full(*extra.zip64);
  if (entry.byteCount == saturated32) entry.byteCount = full.u64();
  if (entry.compressedByteCount == saturated32) entry.compressedByteCount = full.u64();
  if (entry.offset == saturated32) entry.offset = full.u64();
}

Compression supportedCompression(std::uint16_t flags, std::uint16_t method) {
  if ((flags & ~supportedFlags) != 0) throw Refusal("an entry is encrypted or of an unsupported kind");
  if (method != 0 && method != 8) throw Refusal("an entry is compressed in an unsupported way");
  return Compression{method};
}

ArchiveEntry readEntry(Fields& fields) {
  if (fields.u32() != entrySignature) throw Refusal("the directory of the archive is damaged");
  ArchiveEntry entry;
  entry.system = static_cast<std::uint8_t>(fields.u16() >> 8);
  fields.skip(2);  // the version needed
  entry.flags = fields.u16();
  entry.compression = supportedCompression(entry.flags, fields.u16());
  fields.skip(4);  // time and date: the expander asks for the more exact one
  entry.checksum = fields.u32();
  entry.compressedByteCount = fields.u32();
  entry.byteCount = fields.u32();
  const std::size_t nameByteCount = fields.u16();
  const std::size_t extraByteCount = fields.u16();
  const std::size_t commentByteCount = fields.u16();
  if (fields.u16() != 0) throw Refusal("the archive is split over several files");
  fields.skip(2);  // internal attributes
  entry.externalAttributes = fields.u32();
  entry.offset = fields.u32();
  entry.name = fields.text(nameByteCount);
  widen(entry, ExtraFields::read(fields.bytes(extraByteCount), entry.name));
  fields.skip(commentByteCount);
  if (entry.compression == Compression::none && entry.compressedByteCount != entry.byteCount)
    throw Refusal("an entry that is not compressed has two sizes");
  return entry;
}

/// Records follow each other without overlap and without room for another one. Bytes in front of the first are allowed
/// (a self-extractor), unless they begin like a record themselves.
void checkLocalRecords(const ArchiveFile& archive, const std::vector<ArchiveEntry>& entries,
                       std::uint64_t directoryOffset) {
  std::uint64_t next = entries.empty() ? directoryOffset : entries.front().offset;
  if (next != 0 && beginsLikeALocalRecord(archive)) throw Refusal("the archive begins with a record it does not list");
  for (const ArchiveEntry& entry : entries) {
    if (entry.offset < next) throw Refusal("two records of the archive overlap");
    if (entry.offset > next) throw Refusal("the archive has bytes between its records");
    next = checkedEndOfLocalRecord(archive, entry, directoryOffset);
  }
  if (next != directoryOffset) throw Refusal("the archive has bytes between its records and its directory");
}

}  // namespace

std::vector<ArchiveEntry> readCentralDirectory(const ArchiveFile& archive) {
  const EndRecord end = readEndRecord(archive);
  if (end.directoryByteCount > maximumDirectoryByteCount) throw Refusal("the directory of the archive is too large");
  const Bytes directory = archive.read(end.directoryOffset, end.directoryByteCount);
  std::vector<ArchiveEntry> entries;
  for (Fields fields(directory); !fields.atEnd();) entries.push_back(readEntry(fields));
  if (entries.size() != end.entryCount) throw Refusal("the archive does not have as many entries as it says");
  std::stable_sort(entries.begin(), entries.end(),
                   [](const ArchiveEntry& a, const ArchiveEntry& b) { return a.offset < b.offset; });
  checkLocalRecords(archive, entries, end.directoryOffset);
  return entries;
}

}  // namespace brindlewick::ditto
