#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick {

/// The record beside a prepared application ("install-preparation.json"): which signed update it was made from.
struct InstallPreparationReceipt {
  static constexpr std::string_view fileName = "install-preparation.json";
  static constexpr std::size_t maximumByteCount = 1'048'576;

  /// The only format is 1.
  std::int64_t schemaVersion = 1;
  std::string applicationIdentifier;
  std::string version;
  std::int64_t build = 0;
  /// As in the signed manifest: 64 lower-case hexadecimal digits.
  std::string artifactSHA256;
  std::string candidateDirectoryName;

  /// Canonical JSON. Absent when a text is not UTF-8.
  [[nodiscard]] std::optional<Bytes> encode() const;
  /// All six members are required with their types. Absent when that fails.
  [[nodiscard]] static std::optional<InstallPreparationReceipt> decode(ByteView json);

  bool operator==(const InstallPreparationReceipt&) const = default;
};

}  // namespace brindlewick
