#include "platform/posix/Renaming.h"

#include <fcntl.h>
#include <stdio.h>  // NOLINT(modernize-deprecated-headers): renameat is of POSIX, not of C

#include "platform/posix/FileCopy.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

int lookThenRename(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  struct stat status {};
  if (::fstatat(toFolder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  if (errno != ENOENT) return errno;
  return ::renameat(fromFolder, from, toFolder, to) == 0 ? 0 : errno;
}

}  // namespace

int renameExclusively(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  const int code = renameIfFree(fromFolder, from, toFolder, to);
  return isUnsupported(code) ? lookThenRename(fromFolder, from, toFolder, to) : code;
}

}  // namespace brindlewick::posix
