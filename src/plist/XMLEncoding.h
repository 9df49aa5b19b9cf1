#pragma once

#include <cstdint>
#include <string_view>

namespace brindlewick {

enum class XMLEncoding : std::uint8_t { utf8, latin1 };

/// The encoding of an XML property list, found as Core Foundation finds it: by a byte order mark, else by what stands
/// behind "encoding=" in a declaration that begins with the first byte. US-ASCII is read like ISO 8859-1, bytes beyond
/// it included.
///
/// Throws Failure<PropertyListRefusal> otherEncoding for every other one.
[[nodiscard]] XMLEncoding xmlEncoding(std::string_view content);

}  // namespace brindlewick
