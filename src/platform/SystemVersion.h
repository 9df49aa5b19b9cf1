#pragma once

#include "platform/NumericSystemVersion.h"

namespace brindlewick {

class SystemVersion {
 public:
  virtual ~SystemVersion() = default;

  /// The running macOS version; on another system the one that this build stands in for. Throws PlatformError when the
  /// system does not say.
  [[nodiscard]] virtual NumericSystemVersion running() = 0;
};

}  // namespace brindlewick
