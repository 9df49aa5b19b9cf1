#pragma once

#include <string>
#include <string_view>

#include "plist/PropertyListTree.h"

/// Values of property lists as one line of text, in which two readers can be compared.
namespace brindlewick::testing {

/// Bytes that are no printable ASCII, and the backslash, as "\xNN".
[[nodiscard]] std::string escaped(std::string_view text);
/// What was escaped.
[[nodiscard]] std::string unescaped(std::string_view text);

/// {"key": "text", ...} sorted by keys, [...], <hexadecimal data>, real(bits), and "other" for what nothing reads.
[[nodiscard]] std::string dump(const PropertyListTree& tree);
[[nodiscard]] std::string dumpReal(double real);
[[nodiscard]] std::string dumpText(std::string_view text);
[[nodiscard]] std::string dumpData(ByteView data);

/// The list, or the word for the rule that refuses it: "(repeatedKey)".
[[nodiscard]] std::string verdictOn(std::string_view content);

}  // namespace brindlewick::testing
