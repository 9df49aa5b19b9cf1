#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick::testing {

/// Whether JSONObject answers for a text, and for its members "a" and "b", what another reader of JSON (nlohmann/json)
/// makes of them. Absent when the other reader has no verdict, since it converts every number and the text holds one
/// that it cannot hold.
[[nodiscard]] std::optional<bool> agreesWithAnotherReader(ByteView text);

}  // namespace brindlewick::testing
