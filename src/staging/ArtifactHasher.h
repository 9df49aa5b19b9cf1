#pragma once

#include <string>

#include "platform/FileSystem.h"

namespace brindlewick::ArtifactHasher {

/// The SHA-256 of everything that an open file still holds, as 64 lower-case hexadecimal digits. Reads in chunks: the
/// file is never in memory as a whole. Throws PlatformError.
[[nodiscard]] std::string sha256Hex(OpenItem& file);

/// The same for a file that the user names. A final link is followed; anything but a regular file cannot be read.
[[nodiscard]] std::string sha256Hex(FileSystem& files, const Path& file);

}  // namespace brindlewick::ArtifactHasher
