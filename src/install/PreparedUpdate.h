#pragma once

#include <cstdint>
#include <string>

#include "platform/Path.h"

namespace brindlewick {

/// What preparation has left on disk, and what it says of itself.
struct PreparedUpdate {
  /// The preparation directory.
  Path directoryURL;
  /// The candidate bundle in it.
  Path applicationURL;
  /// The receipt in it.
  Path receiptURL;
  /// As verified in the candidate.
  std::string version;
  std::int64_t build = 0;

  bool operator==(const PreparedUpdate&) const = default;
};

}  // namespace brindlewick
