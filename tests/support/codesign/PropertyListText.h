#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Bytes.h"

/// Writes property lists as XML, each function one element.
namespace brindlewick::testing::plist {

[[nodiscard]] std::string string(std::string_view text);
[[nodiscard]] std::string data(ByteView bytes);
[[nodiscard]] std::string array(std::string_view elements);
/// Keys with their elements, in the order given.
[[nodiscard]] std::string dictionary(const std::vector<std::pair<std::string, std::string>>& entries);
/// The whole document around its element.
[[nodiscard]] std::string document(std::string_view element);
/// The same property list in the binary format.
[[nodiscard]] Bytes binary(std::string_view document);

}  // namespace brindlewick::testing::plist
