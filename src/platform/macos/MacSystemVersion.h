#pragma once

#include "platform/SystemVersion.h"

namespace brindlewick {

/// The macOS version that the kernel names.
class MacSystemVersion final : public SystemVersion {
 public:
  [[nodiscard]] NumericSystemVersion running() override;
};

}  // namespace brindlewick
