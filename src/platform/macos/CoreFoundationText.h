#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/macos/CFHolder.h"

namespace brindlewick {

/// Nothing is held when the text is not UTF-8.
[[nodiscard]] CFHolder<CFStringRef> toCFString(std::string_view text);

/// In UTF-8; absent for null, for an object that is no string, and for a string that UTF-8 cannot express.
[[nodiscard]] std::optional<std::string> toText(CFTypeRef object);

}  // namespace brindlewick
