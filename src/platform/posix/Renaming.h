#pragma once

namespace brindlewick::posix {

/// Renames without replacing: an existing target fails with EEXIST. Each name is relative to its folder, which may be
/// AT_FDCWD. Where the file system cannot do both in one step (NFS, SMB, exFAT and most that lie in a program), looks
/// whether the target is free and renames then. Whoever takes a name in between may lose a file or an empty folder
/// there; the names that we rename to are random, but for the one of the application.
///
/// Returns 0 or the error number.
[[nodiscard]] int renameExclusively(int fromFolder, const char* from, int toFolder, const char* to) noexcept;

}  // namespace brindlewick::posix
