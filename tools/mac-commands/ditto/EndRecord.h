#pragma once

#include <cstdint>

#include "ArchiveFile.h"

namespace brindlewick::ditto {

/// Where the central directory lies and how many entries it has (PKWARE APPNOTE 6.3.10, sections 4.3.14 to 4.3.16).
struct EndRecord {
  std::uint64_t entryCount = 0;
  std::uint64_t directoryByteCount = 0;
  std::uint64_t directoryOffset = 0;
};

/// Finds the last end record of the file, with its 64-bit form if there is one. Bytes may lie in front of the archive
/// and behind it, but the directory must end exactly where the end records begin, both forms must agree, and the
/// record must not lie in the comment of another one: readers could take either. Throws Refusal.
[[nodiscard]] EndRecord readEndRecord(const ArchiveFile& archive);

}  // namespace brindlewick::ditto
