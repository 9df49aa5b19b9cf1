#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Bytes.h"

/// What stands between the tags of an XML property list, read as Core Foundation reads it. Each throws
/// Failure<PropertyListRefusal>: malformed, or the case that is named.
namespace brindlewick::XMLValues {

/// Decimal or hexadecimal ("0x") digits with an optional sign, and blanks in front of both: every byte up to the space,
/// and DEL. foreignNumber, integerBeyond64Bits.
[[nodiscard]] std::int64_t integer(std::string_view raw);

/// A decoded text that is a number as strtod reads it, of the characters "+-.0123456789Ee" alone, with blanks in front;
/// or "nan", or an infinity. foreignNumber.
[[nodiscard]] double real(std::string_view text);

/// Requires [-]YYYY-MM-DDThh:mm:ssZ, with any number of digits for the year and any two for the others.
void requireDate(std::string_view raw);

/// Base64 (RFC 4648, section 4), from which characters outside its alphabet are left out, and of which a last group of
/// fewer than four is dropped.
[[nodiscard]] Bytes data(std::string_view raw);

/// Appends what a text without tags stands for: the predefined entities and references to characters are replaced.
void appendDecoded(std::string& text, std::string_view raw);

}  // namespace brindlewick::XMLValues
