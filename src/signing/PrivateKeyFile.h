#pragma once

#include <cstdint>

#include "platform/Ed25519.h"
#include "platform/FileSystem.h"

namespace brindlewick::PrivateKeyFile {

/// Reads a private key from a file that holds 32 raw bytes, or their base64 in UTF-8 with any white space and line
/// breaks around it, at most 1,048,576 bytes. Attributes and bytes come from one open file; the bytes never leave
/// locked memory, of which little is needed however large the file.
///
/// Throws PlatformError if the file cannot be opened; Failure<OfflineManifestSigningError> unsafePrivateKeyFile unless
/// it is a regular file, no link, of this user, closed to group and others; PlatformError if it cannot be read; then
/// malformedPrivateKey.
[[nodiscard]] Ed25519PrivateKey read(FileSystem& files, const Path& file, std::uint32_t effectiveUser);

}  // namespace brindlewick::PrivateKeyFile
