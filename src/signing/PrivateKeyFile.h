#pragma once

#include <cstdint>

#include "platform/Ed25519.h"
#include "platform/FileSystem.h"

namespace brindlewick::PrivateKeyFile {

/// Reads a private key from a file that holds 32 raw bytes or their base64, white space around it allowed. Attributes
/// and bytes come from one open file; the bytes stay in locked memory.
///
/// Throws PlatformError if the file cannot be opened or read; Failure<OfflineManifestSigningError>
/// unsafePrivateKeyFile unless it is a regular file, no link, of this user, closed to group and others; then
/// malformedPrivateKey.
[[nodiscard]] Ed25519PrivateKey read(FileSystem& files, const Path& file, std::uint32_t effectiveUser);

}  // namespace brindlewick::PrivateKeyFile
