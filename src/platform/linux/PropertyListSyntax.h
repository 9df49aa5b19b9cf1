#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/Bytes.h"

/// The checks that libplist does not make, made before it reads a byte: it takes the last of two equal keys, guesses at
/// malformed numbers, and needs hours for hostile content of some megabytes. What passes here has one meaning, which
/// Apple's reader and libplist share.
namespace brindlewick::PropertyListSyntax {

/// How much a property list holds. libplist must find exactly as much, or the two differ about the content.
struct Extent {
  /// The top dictionary and everything in it, without keys.
  std::size_t valueCount = 0;
  /// The bytes of all keys, strings (as UTF-8) and data.
  std::size_t byteCount = 0;
  bool operator==(const Extent&) const = default;
};

constexpr std::size_t maximumContentByteCount = 64 * 1024 * 1024;
/// An object of a binary list that is used twice counts twice, so that no short content unfolds into a long one.
constexpr std::size_t maximumValueCount = 1'000'000;
constexpr std::size_t maximumByteCount = 64 * 1024 * 1024;
/// Dictionaries and arrays inside each other.
constexpr int maximumDepth = 32;

/// The extent of an XML property list without its byte order mark, in UTF-8; absent when it is refused.
///
/// Taken is what property lists are written with: the declaration, a document type without declarations of its own,
/// comments between elements, the predefined entities and character references, and <plist> around one dictionary.
/// Refused, besides everything malformed: CDATA sections and processing instructions, numbers in other than plain
/// decimal notation, base64 with foreign characters, empty and repeated keys, and the key by which some readers take a
/// dictionary for another kind of value.
[[nodiscard]] std::optional<Extent> xmlExtent(std::string_view content);

/// The extent of a binary property list ("bplist00"), unfolded; absent when it is refused.
///
/// Refused, besides everything malformed: kinds that XML cannot express, integers of 16 bytes, text with NUL and text
/// that is not well-formed, keys that are no strings or empty. Repeated keys are not found here.
[[nodiscard]] std::optional<Extent> binaryExtent(ByteView content);

}  // namespace brindlewick::PropertyListSyntax
