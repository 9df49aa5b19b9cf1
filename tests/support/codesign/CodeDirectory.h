#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick::testing {

/// One CodeDirectory. What is absent follows from the code that is signed.
struct DirectoryShape {
  std::uint8_t hashType = 2;  ///< 1 SHA-1, 2 SHA-256, 3 SHA-256 cut to 20 bytes, 4 SHA-384
  std::uint32_t version = 0x20400;
  std::uint32_t flags = 0x10000;
  std::uint8_t pageShift = 12;
  std::uint32_t scatterOffset = 0;
  std::optional<std::string> identifier, team;
  std::optional<std::uint64_t> codeLimit;
  bool writesLimitIn64Bits = false;  ///< in the field that versions from 0x20300 on have
  std::set<int> zeroSlots;           ///< special slots that say "absent"
  /// Changes the finished blob, before it is signed.
  std::function<void(Bytes&)> spoil;
};

/// What a directory describes.
struct DirectoryContent {
  std::string identifier;
  std::string team;
  ByteView code;                        ///< the slice up to its signature
  std::map<int, Bytes> specialContent;  ///< the bytes hashed in slots -1, -2, ..., by positive number
};

[[nodiscard]] Bytes codeDirectory(const DirectoryShape& shape, const DirectoryContent& content);

/// A digest as a slot of a directory of this hash type holds it.
[[nodiscard]] Bytes slotDigest(ByteView bytes, std::uint8_t hashType);
/// The complete digest of a directory under its own hash type; its first 20 bytes are the code hash.
[[nodiscard]] Bytes directoryDigest(ByteView directory, std::uint8_t hashType);

}  // namespace brindlewick::testing
