#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick::testing {

/// Appends numbers and texts in the byte orders of code signatures (big) and of Mach-O files and tickets (little).
class ByteWriter {
 public:
  ByteWriter& byte(std::uint64_t value);
  ByteWriter& big32(std::uint64_t value);
  ByteWriter& big64(std::uint64_t value);
  ByteWriter& little16(std::uint64_t value);
  ByteWriter& little32(std::uint64_t value);
  ByteWriter& little64(std::uint64_t value);
  ByteWriter& raw(ByteView bytes);
  /// The text without a terminator.
  ByteWriter& text(std::string_view text);
  /// The text in a field of `byteCount` bytes, filled up with zeros.
  ByteWriter& field(std::string_view text, std::size_t byteCount);
  ByteWriter& zeros(std::size_t count);

  [[nodiscard]] const Bytes& bytes() const noexcept { return bytes_; }
  [[nodiscard]] std::size_t size() const noexcept { return bytes_.size(); }

 private:
  Bytes bytes_;
};

/// Reading and overwriting numbers in finished bytes; an offset beyond them throws std::out_of_range.
[[nodiscard]] std::uint32_t big32At(const Bytes& bytes, std::size_t offset);
[[nodiscard]] std::uint32_t little32At(const Bytes& bytes, std::size_t offset);
void setBig32(Bytes& bytes, std::size_t offset, std::uint64_t value);
void setLittle32(Bytes& bytes, std::size_t offset, std::uint64_t value);
void setLittle64(Bytes& bytes, std::size_t offset, std::uint64_t value);

void append(Bytes& bytes, ByteView more);
/// Where `needle` begins, from `from` on; throws std::out_of_range when it does not occur.
[[nodiscard]] std::size_t positionOf(const Bytes& bytes, ByteView needle, std::size_t from = 0);

}  // namespace brindlewick::testing
