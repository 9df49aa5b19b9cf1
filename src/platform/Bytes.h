#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace brindlewick {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/// The bytes of a text, without a copy.
[[nodiscard]] inline ByteView asBytes(std::string_view text) noexcept {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The same bytes seen as text, without a copy and without any promise about their encoding.
[[nodiscard]] inline std::string_view asText(ByteView bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace brindlewick
