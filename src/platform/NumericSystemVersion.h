#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace brindlewick {

/// An operating-system version: what a manifest asks for and what the running system says of itself.
struct NumericSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  /// Two or three decimal numbers between dots; a missing third is 0. Leading zeros are allowed.
  [[nodiscard]] static std::optional<NumericSystemVersion> parse(std::string_view text);

  auto operator<=>(const NumericSystemVersion&) const = default;
};

}  // namespace brindlewick
