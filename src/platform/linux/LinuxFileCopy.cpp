#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "platform/posix/FileCopy.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

void copyThroughBuffer(int from, int to) {
  constexpr std::size_t bufferByteCount = 1U << 20;
  // Not filled with zeros: mostly the kernel has copied everything, and the first read finds the end. Filling would be
  // an eighth of the copy of a bundle of small files.
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(bufferByteCount);
  for (;;) {
    throwIfInterrupted();
    const auto count = uninterrupted([&] { return ::read(from, buffer.get(), bufferByteCount); });
    if (count < 0) throwErrno("read", "the file to copy");
    if (count == 0) return;
    writeAll(to, ByteView(buffer.get(), static_cast<std::size_t>(count)), "the copy");
  }
}

bool isOnDisk(const Path& folder) {
  struct statfs status {};
  if (::statfs(folder.c_str(), &status) != 0) return false;
  return status.f_type != TMPFS_MAGIC && status.f_type != RAMFS_MAGIC;
}

/// A folder of our own that denies all other users these rights.
bool isOwnFolder(const struct stat& folder, mode_t denied) {
  return S_ISDIR(folder.st_mode) && folder.st_uid == ::geteuid() && (folder.st_mode & denied) == 0;
}

/// In a folder that others can write to, somebody could set aside the private one that is created there.
bool isOursAlone(const Path& folder) {
  struct stat status {};
  return ::stat(folder.c_str(), &status) == 0 && isOwnFolder(status, 022);
}

/// A folder itself, no link to one, that is as private as what is created in it.
bool isPrivate(const Path& folder) {
  struct stat status {};
  return ::lstat(folder.c_str(), &status) == 0 && isOwnFolder(status, 077);
}

}  // namespace

void copyContent(int from, int to) {
  if (::ioctl(to, FICLONE, from) == 0) return;
  constexpr std::size_t stepByteCount = 16U << 20;
  for (;;) {
    throwIfInterrupted();
    const auto count = uninterrupted([&] { return ::copy_file_range(from, nullptr, to, nullptr, stepByteCount, 0); });
    if (count > 0) continue;
    // Some file systems cannot copy within the kernel, and some claim an end where there is none: reading on from the
    // present position is right in both cases.
    return copyThroughBuffer(from, to);
  }
}

Descriptor copyFile(int from, int toFolder, const char* newName) {
  auto to = createFile(toFolder, newName, 0600);
  copyContent(from, to.get());
  return to;
}

void copyExtendedAttributes(int from, int to) {
  const auto length = ::flistxattr(from, nullptr, 0);
  if (length <= 0) return;
  std::string names(static_cast<std::size_t>(length), '\0');
  const auto read = ::flistxattr(from, names.data(), names.size());
  if (read < 0) throwErrno("list", "extended attributes");
  names.resize(static_cast<std::size_t>(read));
  for (std::size_t start = 0; start < names.size(); start += std::string_view(names.c_str() + start).size() + 1) {
    const char* name = names.c_str() + start;
    if (!std::string_view(name).starts_with("user.")) continue;  // the others belong to the system
    const auto size = ::fgetxattr(from, name, nullptr, 0);
    std::vector<std::uint8_t> value(size > 0 ? static_cast<std::size_t>(size) : 0);
    if (size < 0 || ::fgetxattr(from, name, value.data(), value.size()) != size) throwErrno("read the attribute", name);
    // The file system of the copy may have no attributes at all.
    if (::fsetxattr(to, name, value.data(), value.size(), 0) != 0 && errno != ENOTSUP)
      throwErrno("set the attribute", name);
  }
}

int renameIfFree(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  return ::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0 ? 0 : errno;
}

int exchangeNames(int oneFolder, const char* one, int otherFolder, const char* other) noexcept {
  return ::renameat2(oneFolder, one, otherFolder, other, RENAME_EXCHANGE) == 0 ? 0 : errno;
}

int setModeOfUnreadable(int folder, const char* name, mode_t mode) noexcept {
  // fchmodat2, which came with Linux 6.6; the headers of older systems have no name for it.
  constexpr long newCall = 452;
  if (::syscall(newCall, folder, name, mode, AT_SYMLINK_NOFOLLOW) == 0) return 0;
  // An older kernel does not know it, and a filter made for one may forbid it. The library has a way through /proc.
  if (errno != ENOSYS && errno != EPERM) return errno;
  return ::fchmodat(folder, name, mode, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

void beginWriteBack(int file) noexcept { static_cast<void>(::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE)); }

int flushToDrive(int item) noexcept {
  return uninterrupted([&] { return ::fsync(item); }) == 0 ? 0 : errno;
}

std::vector<Path> temporaryFolderPlaces(const Path& destination) {
  std::vector<Path> places;
  Path nearest = destination.parent();
  while (::access(nearest.c_str(), F_OK) != 0 && nearest != nearest.parent()) nearest = nearest.parent();
  if (isOnDisk(nearest) && isOursAlone(nearest)) places.push_back(nearest);
  // In somebody else's folder, say. On disk or not: what is downloaded is to end there.
  if (isPrivate(destination)) places.push_back(destination);
  places.emplace_back("/var/tmp");
  return places;
}

timespec accessTime(const struct stat& status) noexcept { return status.st_atim; }

timespec modificationTime(const struct stat& status) noexcept { return status.st_mtim; }

}  // namespace brindlewick::posix
