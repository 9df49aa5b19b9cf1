#pragma once

#include "platform/SystemVersion.h"

namespace brindlewick {

/// Reports the macOS version that this build stands in for (build setting BRINDLEWICK_REFERENCE_MACOS), since a
/// publisher's machine runs none.
class ReferenceSystemVersion final : public SystemVersion {
 public:
  [[nodiscard]] NumericSystemVersion running() override;
};

}  // namespace brindlewick
