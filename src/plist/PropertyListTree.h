#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Bytes.h"

namespace brindlewick {

/// A value of a property list, whole. std::monostate stands for a date and a UID, which nothing here reads.
struct PropertyListNode;
using PropertyListArray = std::vector<PropertyListNode>;
using PropertyListTree = std::map<std::string, PropertyListNode, std::less<>>;

struct PropertyListNode {
  std::variant<std::monostate, bool, std::int64_t, double, std::string, Bytes, PropertyListArray, PropertyListTree>
      value;

  /// The value as one of these kinds; null if it is of another.
  template <typename Kind>
  [[nodiscard]] const Kind* as() const noexcept {
    return std::get_if<Kind>(&value);
  }
};

/// The entry of a dictionary; null if there is none.
[[nodiscard]] const PropertyListNode* find(const PropertyListTree& dictionary, std::string_view key);

/// How much a list takes. An object of a binary list that is used twice counts twice, so that no short content unfolds
/// into a long one.
struct PropertyListExtent {
  std::uint64_t byteCount = 0;   ///< of the content, and of all keys, texts (in UTF-8) and data
  std::uint64_t valueCount = 0;  ///< the top dictionary and everything in it, without keys

  bool operator==(const PropertyListExtent&) const = default;
};

struct MeasuredPropertyList {
  PropertyListTree top;
  PropertyListExtent extent;
};

/// Reads a property list, XML or binary, into the values that Core Foundation (CFPropertyList.c, CFBinaryPList.c) makes
/// of the same bytes: what it refuses is refused, what it reads is read as the same, and all that differs on purpose is
/// a case of PropertyListRefusal. So it passes over attributes, comments, processing instructions, characters in data
/// that are no base64, and everything behind the end of the top element; it takes integers with a sign and in
/// hexadecimal digits; it drops a byte order mark at the start of a text. One pass, in time and memory that are linear
/// in the content and bounded.
///
/// Throws Failure<PropertyListRefusal>.
[[nodiscard]] MeasuredPropertyList readPropertyList(ByteView content);

/// The same; absent where readPropertyList throws.
[[nodiscard]] std::optional<MeasuredPropertyList> measurePropertyList(ByteView content);

/// The dictionary at the top alone.
[[nodiscard]] std::optional<PropertyListTree> parsePropertyList(ByteView content);

}  // namespace brindlewick
