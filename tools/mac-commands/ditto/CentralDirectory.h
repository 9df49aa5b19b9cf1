#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ArchiveFile.h"

namespace brindlewick::ditto {

/// How an entry's bytes are packed; nothing else is supported.
enum class Compression : std::uint16_t { none = 0, deflate = 8 };

/// One entry as the central directory describes it (APPNOTE 4.3.12).
struct ArchiveEntry {
  /// As the archive spells it; a folder's name ends in a slash.
  std::string name;
  /// The system that made the entry (APPNOTE 4.4.2.2); it says how to read the attributes.
  std::uint8_t system = 0;
  std::uint32_t externalAttributes = 0;
  std::uint16_t flags = 0;
  Compression compression = Compression::none;
  std::uint32_t checksum = 0;
  std::uint64_t compressedByteCount = 0;
  std::uint64_t byteCount = 0;
  /// Where its local record begins.
  std::uint64_t offset = 0;

  bool operator==(const ArchiveEntry&) const = default;
};

/// Bit 3 of the flags: checksum and sizes follow the data (APPNOTE 4.3.9).
inline constexpr std::uint16_t describedAfterData = 0x0008;

/// The entries of an archive in the order of their local records, so that what one reader finds from the directory and
/// another by walking the records is the same. Throws Refusal for anything about which readers could differ: an entry
/// that is encrypted, packed in another way or split, a local record that contradicts the directory, records that
/// overlap or leave room for one the directory does not name, and a directory of another size than declared.
[[nodiscard]] std::vector<ArchiveEntry> readCentralDirectory(const ArchiveFile& archive);

}  // namespace brindlewick::ditto
