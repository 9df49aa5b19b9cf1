#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/FileSystem.h"

namespace brindlewick {

/// How an installation ended, for the application that is started afterwards: while the helper worked, nobody was there
/// to read its answer.
struct InstallResultRecord {
  bool succeeded = false;
  std::optional<std::string> version = {};
  std::optional<std::int64_t> build = {};
  std::string message;
  /// In the document: seconds since the start of 2001 (UTC), with their fraction.
  std::chrono::system_clock::time_point completedAt;

  /// Canonical JSON; absent members are left out. Absent when a text is not UTF-8.
  [[nodiscard]] std::optional<Bytes> encode() const;

  /// Replaces the file whole (mode 0600), in a folder that is created if it is missing (mode 0700). Throws
  /// PlatformError.
  void write(FileSystem& files, const Path& resultFile) const;

  bool operator==(const InstallResultRecord&) const = default;
};

}  // namespace brindlewick
