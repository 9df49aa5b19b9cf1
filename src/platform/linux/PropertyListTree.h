#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
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

/// The dictionary at the top of a property list, XML or binary, of at most 64 MiB; absent when the bytes are none, or
/// when readers could differ about them: a repeated key, an entity declaration, an integer beyond 64 bits, text that is
/// not UTF-8, a binary object that contains itself, more than 32 levels.
[[nodiscard]] std::optional<PropertyListTree> parsePropertyList(ByteView content);

}  // namespace brindlewick
