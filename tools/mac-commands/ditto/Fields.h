#pragma once

#include <cstdint>
#include <string>

#include "Refusal.h"
#include "platform/Bytes.h"

namespace brindlewick::ditto {

/// Takes little-endian fields off the front of a range of bytes. Throws Refusal at its end.
class Fields {
 public:
  explicit Fields(ByteView bytes) : rest_(bytes) {}

  [[nodiscard]] std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
  [[nodiscard]] std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  [[nodiscard]] std::uint64_t u64() { return number(8); }
  [[nodiscard]] ByteView bytes(std::size_t count) {
    if (count > rest_.size()) throw Refusal("a record of the archive is cut short");
    const ByteView taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }
  [[nodiscard]] std::string text(std::size_t count) { return std::string(asText(bytes(count))); }
  void skip(std::size_t count) { static_cast<void>(bytes(count)); }
  [[nodiscard]] bool atEnd() const noexcept { return rest_.empty(); }
  [[nodiscard]] std::size_t remaining() const noexcept { return rest_.size(); }

 private:
  [[nodiscard]] std::uint64_t number(std::size_t byteCount) {
    const ByteView digits = bytes(byteCount);
    std::uint64_t value = 0;
    for (std::size_t i = byteCount; i-- > 0;) value = value << 8 | digits[i];
    return value;
  }

  ByteView rest_;
};

}  // namespace brindlewick::ditto
