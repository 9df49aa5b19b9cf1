#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace brindlewick {

/// An operating-system version of two or three numbers; a missing third is 0. Leading zeros are allowed.
struct NumericSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  [[nodiscard]] static std::optional<NumericSystemVersion> parse(std::string_view text);

  auto operator<=>(const NumericSystemVersion&) const = default;
};

}  // namespace brindlewick
