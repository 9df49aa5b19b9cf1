#pragma once

#include <cstddef>
#include <string_view>

#include "platform/FileSystem.h"
#include "platform/SecretBytes.h"

namespace brindlewick {

/// Reads a secret file from its beginning to its end through one piece of locked memory. What has been passed over is
/// overwritten by what follows, so a file may be much larger than what a user may lock.
class LockedWindow {
 public:
  /// How far one can look ahead.
  static constexpr std::size_t byteCount = 1024;

  /// Reads no more of a file than one byte beyond the limit.
  LockedWindow(OpenItem& item, std::size_t limit) : item_(item), unread_(limit + 1), bytes_(byteCount) {}

  /// The next bytes: at least so many, unless the file ends before. Valid until the next call. Throws PlatformError if
  /// the file cannot be read.
  [[nodiscard]] std::string_view ahead(std::size_t wanted);
  /// Passes over bytes that have been seen ahead.
  void pass(std::size_t count) noexcept { passed_ += count; }
  /// Passes over all that is left; returns whether the file ends within the limit. Throws PlatformError.
  [[nodiscard]] bool passRest();

 private:
  OpenItem& item_;
  std::size_t unread_;
  SecretBytes bytes_;
  /// Of the bytes in the window.
  std::size_t passed_ = 0, filled_ = 0;
};

}  // namespace brindlewick
