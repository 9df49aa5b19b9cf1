#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick {

/// U+FEFF in UTF-8.
inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Appends a character up to U+10FFFF, no surrogate, in UTF-8.
void appendUTF8(std::string& text, std::uint32_t character);

/// Each byte is the character of its number.
[[nodiscard]] std::string utf8OfLatin1(std::string_view bytes);

/// Big-endian UTF-16, an even number of bytes. Throws Failure<PropertyListRefusal> illFormedText.
[[nodiscard]] std::string utf8OfUTF16(ByteView bytes);

}  // namespace brindlewick
