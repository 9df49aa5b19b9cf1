#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick {

/// The answer of "prepare-install".
struct InstallPreparationResponse {
  std::string outcome = "prepared";
  std::optional<std::string> version = {};
  std::optional<std::int64_t> build = {};
  std::optional<std::string> preparationDirectoryPath = {};
  std::string message = "The signed update is verified and ready to install.";

  /// Canonical JSON; absent members are left out. Absent when a text is not UTF-8.
  [[nodiscard]] std::optional<Bytes> encode() const;

  bool operator==(const InstallPreparationResponse&) const = default;
};

}  // namespace brindlewick
