#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace brindlewick::lipo {

/// A processor as Mach-O files and universal headers name it (Apple, mach/machine.h), without the feature bits in the
/// upper byte of the subtype.
struct Architecture {
  std::uint32_t type = 0;
  std::uint32_t subtype = 0;

  [[nodiscard]] static Architecture withoutFeatures(std::uint32_t type, std::uint32_t subtype) noexcept {
    return {type, subtype & 0x00FFFFFF};
  }
  auto operator<=>(const Architecture&) const = default;
};

/// "arm64", or "unknown(type,subtype)" in decimal for one that has no name.
[[nodiscard]] std::string nameOf(Architecture architecture);

}  // namespace brindlewick::lipo
