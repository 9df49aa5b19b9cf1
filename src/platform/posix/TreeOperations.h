#pragma once

#include <vector>

#include "platform/FileSystem.h"
#include "platform/Path.h"

/// Operations on whole trees. All of them work relative to open folders, so that an item exchanged for a link while
/// they run leads nowhere else. None has a limit of depth, and however deep a tree is, none holds more than seven
/// descriptors; a walk refuses what lies deeper than a path can name.
namespace brindlewick::posix {

[[nodiscard]] std::vector<std::string> listNames(int directory, std::string_view subject);
[[nodiscard]] std::vector<TreeItem> walkTree(const Path& root);
void copyTree(const Path& from, const Path& to);
void removeTree(const Path& path);
void syncTree(const Path& root);

}  // namespace brindlewick::posix
