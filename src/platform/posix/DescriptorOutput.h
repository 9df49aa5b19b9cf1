#pragma once

#include "platform/StandardOutput.h"

namespace brindlewick {

/// Descriptor 1.
class DescriptorOutput final : public StandardOutput {
 public:
  void write(ByteView bytes) noexcept override;
};

}  // namespace brindlewick
