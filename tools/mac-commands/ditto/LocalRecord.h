#pragma once

#include <cstdint>

#include "ArchiveFile.h"
#include "CentralDirectory.h"

namespace brindlewick::ditto {

/// Whether the file starts with the signature of a local record.
[[nodiscard]] bool beginsLikeALocalRecord(const ArchiveFile& archive);

/// Compares an entry with its local record (APPNOTE 4.3.7) and, where it has one, the data descriptor behind its data;
/// answers where the record ends. Throws Refusal when they contradict each other or the record does not end before
/// `limit`.
[[nodiscard]] std::uint64_t checkedEndOfLocalRecord(const ArchiveFile& archive, const ArchiveEntry& entry,
                                                    std::uint64_t limit);

}  // namespace brindlewick::ditto
