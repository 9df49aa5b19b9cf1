#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace brindlewick {

/// A release version by Semantic Versioning 2.0.0 (semver.org). Build metadata is checked and then dropped: it takes
/// no part in equality or order.
struct SemanticVersion {
  /// A pre-release identifier: digits whose value fits in 64 bits are `numeric`, everything else is `text`. The order
  /// of the alternatives is the order of precedence: a numeric identifier is lower than any text.
  using Identifier = std::variant<std::int64_t, std::string>;

  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
  /// Empty for a release.
  std::vector<Identifier> prerelease;

  /// Strict: three core numbers without leading zeros, no leading "v", no blanks.
  [[nodiscard]] static std::optional<SemanticVersion> parse(std::string_view text);

  [[nodiscard]] bool hasSameCore(const SemanticVersion& other) const noexcept {
    return major == other.major && minor == other.minor && patch == other.patch;
  }

  bool operator==(const SemanticVersion&) const = default;
  /// Precedence (semver.org, item 11). A total order.
  [[nodiscard]] std::strong_ordering operator<=>(const SemanticVersion& other) const noexcept;
};

}  // namespace brindlewick
