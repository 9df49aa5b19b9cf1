#pragma once

#include "platform/FileSystem.h"

namespace brindlewick {

/// Takes over a file that its owner is about to delete: moves it, with mode 0600, into a fresh private directory for
/// temporary files, where it belongs to the caller together with that directory (`parent()`). `destination` says where
/// it will go. Throws PlatformError, and then nothing of ours remains.
[[nodiscard]] Path takeFile(FileSystem& files, const Path& owned, const Path& destination);

}  // namespace brindlewick
