#pragma once

#include "platform/Bytes.h"

namespace brindlewick {

class StandardOutput {
 public:
  virtual ~StandardOutput() = default;

  /// Writes all bytes, or as many as the reader takes: a closed or full output is not reported and ends nothing.
  virtual void write(ByteView bytes) noexcept = 0;
};

}  // namespace brindlewick
