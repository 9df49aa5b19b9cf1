#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick {

/// The answer of "check-and-stage", and of every command that fails.
struct UpdateHelperResponse {
  enum class Outcome { upToDate, staged, incompatible, failed };

  Outcome outcome = Outcome::failed;
  std::optional<std::string> version = {};
  std::optional<std::int64_t> build = {};
  std::optional<std::string> stagedArtifactPath = {};
  std::optional<std::string> receiptPath = {};
  /// One sentence for the user.
  std::string message;

  /// Canonical JSON; absent members are left out. Absent when a text is not UTF-8.
  [[nodiscard]] std::optional<Bytes> encode() const;

  bool operator==(const UpdateHelperResponse&) const = default;
};

}  // namespace brindlewick
