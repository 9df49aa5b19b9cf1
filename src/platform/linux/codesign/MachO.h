#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>

#include "platform/linux/codesign/ByteSource.h"

namespace brindlewick::codesign {

struct ByteRange {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
};

/// A processor as Mach-O numbers it, its subtype without the feature bits.
struct Architecture {
  std::uint32_t cpuType = 0;
  std::uint32_t cpuSubtype = 0;
  auto operator<=>(const Architecture&) const = default;
};

/// The code for one architecture in a Mach-O file (Apple, loader.h).
struct MachOSlice {
  ByteRange range;  ///< in the file
  Architecture architecture;
  std::uint32_t fileType = 0;
  Bytes head;                                   ///< header and load commands, as they were read
  ByteRange signature;                          ///< where LC_CODE_SIGNATURE points, from the slice's start
  std::optional<ByteRange> informationSection;  ///< __TEXT,__info_plist, from the slice's start
};

/// Reads one slice and checks its structure: the commands lie one behind the other in their room, there is exactly one
/// signature, behind them and inside the slice, and the slice ends where its link-edit data ends. `range` lies inside
/// the file. Throws Refusal.
[[nodiscard]] MachOSlice readSlice(ByteSource& file, ByteRange range);

/// Reads a Mach-O file, thin or universal, and checks its structure by the strict rules. Calls `judge` with each slice,
/// in the order of the file's table; there is at least one, and all are of one file type. One is read when the one
/// before is judged and gone: a universal file that is nearly all holes may have a hundred. Throws Refusal, also for a
/// file that is no Mach-O or is not signed; some of its slices are judged by then.
void forEachSlice(ByteSource& file, const std::function<void(const MachOSlice&)>& judge);

}  // namespace brindlewick::codesign
