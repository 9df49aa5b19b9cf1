#pragma once

#include <cstdint>

namespace brindlewick {

struct OperatingSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;
};

class SystemVersion {
 public:
  virtual ~SystemVersion() = default;

  /// The running macOS version; on another system the one that this build stands in for.
  [[nodiscard]] virtual OperatingSystemVersion running() = 0;
};

}  // namespace brindlewick
