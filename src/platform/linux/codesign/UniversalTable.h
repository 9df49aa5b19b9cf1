#pragma once

#include <optional>
#include <vector>

#include "platform/linux/codesign/MachO.h"

namespace brindlewick::codesign {

struct UniversalEntry {
  Architecture architecture;
  ByteRange range;
  std::uint32_t alignment = 0;  ///< as a power of two
};

[[nodiscard]] Architecture architectureOf(std::uint32_t cpuType, std::uint32_t cpuSubtype) noexcept;

/// The table of a universal file (Apple, fat.h), in its order; absent when the file does not begin with one.
///
/// Checked: at most 100 entries and none hidden behind them; each architecture once; slices inside the file, one behind
/// the other, with nothing but the zeros of alignment between them and nothing behind the last. Tables of 64-bit
/// entries are no code to macOS and a Refusal here.
[[nodiscard]] std::optional<std::vector<UniversalEntry>> readUniversalTable(ByteSource& file);

}  // namespace brindlewick::codesign
