#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace brindlewick {

struct OperatingSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  /// Two or three decimal numbers between dots, as a system names itself; a missing third is 0.
  [[nodiscard]] static std::optional<OperatingSystemVersion> parse(std::string_view text);

  bool operator==(const OperatingSystemVersion&) const = default;
};

class SystemVersion {
 public:
  virtual ~SystemVersion() = default;

  /// The running macOS version; on another system the one that this build stands in for. Throws PlatformError when the
  /// system does not say.
  [[nodiscard]] virtual OperatingSystemVersion running() = 0;
};

}  // namespace brindlewick
