#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The texts between the tags of an XML property list, in the notations that all readers take for the same value.
namespace brindlewick::PropertyListText {

/// The text that a string or a key stands for; absent for an entity that is not predefined, a reference to a character
/// that XML does not allow or that lies beyond U+FFFF, and a carriage return, which readers treat differently.
[[nodiscard]] std::optional<std::string> decoded(std::string_view raw);

/// A signed 64-bit integer in decimal digits without leading zeros.
[[nodiscard]] bool isInteger(std::string_view raw);
/// A finite number as digits with an optional fraction and exponent, at most 64 characters.
[[nodiscard]] bool isReal(std::string_view raw);
/// YYYY-MM-DDThh:mm:ssZ.
[[nodiscard]] bool isDate(std::string_view raw);
/// How many bytes padded base64 (RFC 4648, section 4) between white space stands for; absent when it is malformed.
[[nodiscard]] std::optional<std::size_t> base64ByteCount(std::string_view raw);

}  // namespace brindlewick::PropertyListText
