#pragma once

#include <cstdint>

#include "platform/Bytes.h"
#include "platform/linux/codesign/Refusal.h"

/// Numbers and ranges in bytes that an attacker wrote. Every offset and length is taken in 64 bits, so that no sum of
/// two 32-bit fields wraps around, and is checked against the bytes that are there: what reaches beyond is a Refusal.
namespace brindlewick::codesign {

/// `length` bytes from `offset`.
[[nodiscard]] inline ByteView range(ByteView bytes, std::uint64_t offset, std::uint64_t length) {
  require(offset <= bytes.size() && length <= bytes.size() - offset, "a range lies inside its bytes");
  return bytes.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
}

/// Everything from `offset` on.
[[nodiscard]] inline ByteView rest(ByteView bytes, std::uint64_t offset) {
  require(offset <= bytes.size(), "an offset lies inside its bytes");
  return bytes.subspan(static_cast<std::size_t>(offset));
}

[[nodiscard]] inline std::uint8_t byteAt(ByteView bytes, std::uint64_t offset) { return range(bytes, offset, 1)[0]; }

/// Big-endian, as everything in a signature and in a universal header.
[[nodiscard]] inline std::uint32_t big32(ByteView bytes, std::uint64_t offset) {
  const ByteView field = range(bytes, offset, 4);
  return static_cast<std::uint32_t>(field[0]) << 24 | static_cast<std::uint32_t>(field[1]) << 16 |
         static_cast<std::uint32_t>(field[2]) << 8 | field[3];
}

[[nodiscard]] inline std::uint64_t big64(ByteView bytes, std::uint64_t offset) {
  return static_cast<std::uint64_t>(big32(bytes, offset)) << 32 | big32(bytes, offset + 4);
}

/// Little-endian, as everything in a Mach-O slice of a supported processor and in a ticket.
[[nodiscard]] inline std::uint16_t little16(ByteView bytes, std::uint64_t offset) {
  const ByteView field = range(bytes, offset, 2);
  return static_cast<std::uint16_t>(field[0] | field[1] << 8);
}

[[nodiscard]] inline std::uint32_t little32(ByteView bytes, std::uint64_t offset) {
  const ByteView field = range(bytes, offset, 4);
  return static_cast<std::uint32_t>(field[3]) << 24 | static_cast<std::uint32_t>(field[2]) << 16 |
         static_cast<std::uint32_t>(field[1]) << 8 | field[0];
}

[[nodiscard]] inline std::uint64_t little64(ByteView bytes, std::uint64_t offset) {
  return static_cast<std::uint64_t>(little32(bytes, offset + 4)) << 32 | little32(bytes, offset);
}

}  // namespace brindlewick::codesign
