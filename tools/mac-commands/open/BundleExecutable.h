#pragma once

#include <optional>
#include <string>

namespace brindlewick::open {

/// The main executable of an application bundle: the one that `Contents/Info.plist` names, else the one with the
/// bundle's own name, in `Contents/MacOS`. Absent when the property list is damaged or names something outside that
/// folder.
[[nodiscard]] std::optional<std::string> bundleExecutable(std::string bundle);

}  // namespace brindlewick::open
