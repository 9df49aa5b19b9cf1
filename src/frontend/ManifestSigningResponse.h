#pragma once

#include <optional>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick {

/// The answer of "sign-manifest".
struct ManifestSigningResponse {
  /// Where the signed manifest was written.
  std::string manifestPath;
  std::string publicKeyBase64;
  std::string artifactSHA256;

  /// Canonical JSON. Absent when a text is not UTF-8.
  [[nodiscard]] std::optional<Bytes> encode() const;

  bool operator==(const ManifestSigningResponse&) const = default;
};

}  // namespace brindlewick
