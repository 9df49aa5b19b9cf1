#pragma once

#include <string_view>

namespace brindlewick {

/// Whether a text is well-formed UTF-8 (RFC 3629): no overlong form, no surrogate, nothing above U+10FFFF.
[[nodiscard]] bool isUTF8(std::string_view text) noexcept;

}  // namespace brindlewick
