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

/// The one encoding of every document that the program writes, and the definition of a manifest's canonical bytes: a
/// flat object with its keys sorted, no white space, no line feed at the end, "/" not escaped, non-ASCII as UTF-8
/// (RFC 8259). A member whose value is absent is left out.
namespace CanonicalJSON {

using Value = std::variant<bool, std::int64_t, double, std::string>;
using Members = std::vector<std::pair<std::string, Value>>;

/// Absent when a text is not UTF-8, which JSON cannot hold.
[[nodiscard]] std::optional<Bytes> encode(const Members& members);

}  // namespace CanonicalJSON

/// A flat JSON object as it was read, asked for its members by name and type. Strict: an integer is a number written
/// without fraction or exponent in the signed 64-bit range, true is no number, and a repeated key is refused, because
/// readers differ about which one counts.
class JSONObject {
 public:
  /// Absent when the bytes are not one JSON object (RFC 8259). Survives any input.
  [[nodiscard]] static std::optional<JSONObject> parse(ByteView text);

  /// Absent when the member is missing or of another type.
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;

 private:
  CanonicalJSON::Members members_;
};

}  // namespace brindlewick
