#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Bytes.h"

namespace brindlewick {

/// What its reader wants to know of a JSON object, asked for by name and type. Strict about types: an integer is a
/// number written without fraction or exponent in the signed 64-bit range, and true is no number.
class JSONObject {
 public:
  /// Absent when the bytes are not one JSON object (RFC 8259) from their beginning to their end, or when one of `keys`
  /// stands in it twice, since readers differ about which one counts. Members with other keys are ignored, whatever
  /// they hold and however often they stand there, and are not kept. Survives any input. A byte order mark in front
  /// is ignored, as section 8.1 allows.
  [[nodiscard]] static std::optional<JSONObject> parse(ByteView bytes, std::initializer_list<std::string_view> keys);

  /// `key` is one of those named to `parse`. Absent when the member is missing or of another type.
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;

 private:
  friend class JSONObjectReader;
  /// Neither text nor integer: present, but of no type that anybody asks for.
  using Other = std::monostate;
  std::vector<std::pair<std::string, std::variant<Other, std::int64_t, std::string>>> members_;
};

}  // namespace brindlewick
