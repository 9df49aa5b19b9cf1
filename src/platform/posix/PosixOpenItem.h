#pragma once

#include <memory>

#include "platform/FileSystem.h"

namespace brindlewick::posix {

/// Opens an item by path, with O_NOFOLLOW or without; see FileSystem::open.
[[nodiscard]] std::unique_ptr<OpenItem> openItem(const Path& path, int followFlag);

/// The item itself; absent when there is none.
[[nodiscard]] std::optional<FileAttributes> attributesOf(const Path& path);

}  // namespace brindlewick::posix
