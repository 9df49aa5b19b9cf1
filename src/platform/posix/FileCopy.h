#pragma once

#include <sys/stat.h>

#include <vector>

#include "platform/Path.h"
#include "platform/posix/Descriptor.h"

namespace brindlewick::posix {

/// Copies the content of one open file into another, empty one, sharing blocks where the file system can. Each system
/// has its own fast way. Throws PlatformError.
void copyContent(int from, int to);

/// Creates a copy of an open file in a folder, with mode 0600 for now, and opens it; what exists is an error. Shares
/// the blocks of the original where the file system can. Throws PlatformError and may then leave a part of the copy.
[[nodiscard]] Descriptor copyFile(int from, int toFolder, const char* newName);

/// Copies the extended attributes from one open item to another. Throws PlatformError, but a file system that has none
/// is no error.
void copyExtendedAttributes(int from, int to);

/// Renames without replacing, in one step: an existing target fails with EEXIST. Each name is relative to its folder,
/// which may be AT_FDCWD. Returns 0 or the error number; not every file system can do it.
[[nodiscard]] int renameIfFree(int fromFolder, const char* from, int toFolder, const char* to) noexcept;

/// Exchanges what two names stand for, in one step. Both must exist, on one file system. Returns 0 or the error number;
/// not every file system can do it.
[[nodiscard]] int exchangeNames(int oneFolder, const char* one, int otherFolder, const char* other) noexcept;

/// Sets the mode of an item that cannot be opened; a final link is not followed. Returns 0 or the error number.
[[nodiscard]] int setModeOfUnreadable(int folder, const char* name, mode_t mode) noexcept;

/// Asks the disk to begin writing what a file holds, without waiting, so that a later sync has little left to do.
void beginWriteBack(int file) noexcept;

/// Makes what an open item holds durable, through the cache of the drive too. Returns 0 or the error number.
[[nodiscard]] int flushToDrive(int item) noexcept;

/// Where fresh private folders may be created, the best place first; `destination` says where their content goes. It is
/// a place itself only if it exists, is a folder of ours and is closed to others.
[[nodiscard]] std::vector<Path> temporaryFolderPlaces(const Path& destination);

[[nodiscard]] timespec accessTime(const struct stat& status) noexcept;
[[nodiscard]] timespec modificationTime(const struct stat& status) noexcept;

}  // namespace brindlewick::posix
