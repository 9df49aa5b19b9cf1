#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace brindlewick {

/// The length that the Content-Length lines of one head declare (RFC 9110, section 8.6): decimal digits and nothing
/// else. Several lines, or a list in one, are fine as long as all say the same (RFC 9112, section 6.3).
///
/// A number that 64 bits do not hold is the largest that they hold: it is longer than any limit all the same. Absent
/// when the lines contradict each other, one of them is no such number, or there is none.
[[nodiscard]] std::optional<std::uint64_t> contentLength(const std::vector<std::string_view>& lines);

}  // namespace brindlewick
