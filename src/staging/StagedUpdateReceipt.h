#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick {

/// The record beside a staged archive ("receipt.json"). It carries the signed manifest, so that the update can be
/// verified again from the disk alone.
struct StagedUpdateReceipt {
  static constexpr std::string_view fileName = "receipt.json";
  static constexpr std::size_t maximumByteCount = 1'048'576;

  /// The only format is 1.
  std::int64_t schemaVersion = 1;
  std::string version;
  std::int64_t build = 0;
  std::string artifactFileName;
  /// 64 lower-case hexadecimal digits.
  std::string artifactSHA256;
  /// The envelope's texts, as received.
  std::string manifestPayload;
  std::string manifestSignature;

  /// Canonical JSON. Absent when a text is not UTF-8.
  [[nodiscard]] std::optional<Bytes> encode() const;
  /// All seven members are required with their types. Absent when that fails.
  [[nodiscard]] static std::optional<StagedUpdateReceipt> decode(ByteView json);

  bool operator==(const StagedUpdateReceipt&) const = default;
};

}  // namespace brindlewick
