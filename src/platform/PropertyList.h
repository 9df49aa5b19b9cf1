#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>

#include "platform/Bytes.h"

namespace brindlewick {

/// A value of a property list as far as the program reads it; std::monostate stands for every other kind (data, date,
/// array, dictionary, Boolean, UID).
using PropertyListValue = std::variant<std::monostate, std::string, std::int64_t, double>;
using PropertyListDictionary = std::map<std::string, PropertyListValue, std::less<>>;

/// Reads property lists, XML or binary.
class PropertyListReader {
 public:
  virtual ~PropertyListReader() = default;

  /// The top-level dictionary; absent when the bytes are no property list for Core Foundation, when its top level is no
  /// dictionary, for the oldest format, and for an integer beyond 64 bits. The reader that is ours refuses some more,
  /// such as a repeated key: the one of macOS keeps one of its values and does not tell.
  [[nodiscard]] virtual std::optional<PropertyListDictionary> dictionary(ByteView content) = 0;
};

}  // namespace brindlewick
