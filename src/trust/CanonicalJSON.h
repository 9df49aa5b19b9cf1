#pragma once

#include <cstdint>
#include <optional>
#include <string>
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

}  // namespace brindlewick
