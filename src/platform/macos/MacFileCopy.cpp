#include <copyfile.h>
#include <fcntl.h>
#include <sys/clonefile.h>
#include <sys/stdio.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/posix/FileCopy.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

/// Owns the state of one copy.
class CopyState {
 public:
  CopyState() : state_(::copyfile_state_alloc()) {}
  ~CopyState() { ::copyfile_state_free(state_); }
  CopyState(const CopyState&) = delete;
  CopyState& operator=(const CopyState&) = delete;

  [[nodiscard]] copyfile_state_t get() const noexcept { return state_; }

 private:
  copyfile_state_t state_;
};

int goOnUnlessInterrupted(int, int, copyfile_state_t, const char*, const char*, void*) {
  return interrupted() ? COPYFILE_QUIT : COPYFILE_CONTINUE;
}

/// A clone with the mode of a fresh file; absent where the file system cannot clone. A file that is there but cannot be
/// opened or changed is removed again.
Descriptor cloneFile(int from, int toFolder, const char* newName) {
  if (::fclonefileat(from, toFolder, newName, CLONE_NOOWNERCOPY) != 0) {
    if (errno == EEXIST) throwErrno("create", newName);
    return {};
  }
  // By name, since a mode that forbids reading came along. The folder is one that only we write to.
  if (::fchmodat(toFolder, newName, 0600, AT_SYMLINK_NOFOLLOW) == 0) {
    Descriptor clone(uninterrupted([&] { return ::openat(toFolder, newName, O_RDWR | O_NOFOLLOW | O_CLOEXEC); }));
    if (clone) return clone;
  }
  const int code = errno;
  ::unlinkat(toFolder, newName, 0);
  throwErrno("open the clone", newName, code);
}

}  // namespace

void copyContent(int from, int to) {
  const CopyState state;
  ::copyfile_state_set(state.get(), COPYFILE_STATE_STATUS_CB, reinterpret_cast<const void*>(&goOnUnlessInterrupted));
  const int result = ::fcopyfile(from, to, state.get(), COPYFILE_DATA);
  const int code = errno;
  throwIfInterrupted();
  if (result != 0) throwErrno("copy", "the content of a file", code);
}

Descriptor copyFile(int from, int toFolder, const char* newName) {
  if (auto clone = cloneFile(from, toFolder, newName)) return clone;
  auto to = createFile(toFolder, newName, 0600);
  copyContent(from, to.get());
  return to;
}

void copyExtendedAttributes(int from, int to) {
  if (::fcopyfile(from, to, nullptr, COPYFILE_XATTR) != 0 && errno != ENOTSUP)
    throwErrno("copy", "extended attributes");
}

int renameIfFree(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  return ::renameatx_np(fromFolder, from, toFolder, to, RENAME_EXCL) == 0 ? 0 : errno;
}

int exchangeNames(int oneFolder, const char* one, int otherFolder, const char* other) noexcept {
  return ::renameatx_np(oneFolder, one, otherFolder, other, RENAME_SWAP) == 0 ? 0 : errno;
}

int setModeOfUnreadable(int folder, const char* name, mode_t mode) noexcept {
  return ::fchmodat(folder, name, mode, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

void beginWriteBack(int /*file*/) noexcept {}  // the system begins by itself and offers no call that does not wait

int flushToDrive(int item) noexcept {
  // Plain fsync leaves the data in the drive's own cache. It is what there is where the file system does not know the
  // full one; any other failure is one of the drive, and a weaker call must not hide it.
  if (uninterrupted([&] { return ::fcntl(item, F_FULLFSYNC); }) != -1) return 0;
  if (errno != ENOTSUP && errno != ENOTTY && errno != EINVAL) return errno;
  return uninterrupted([&] { return ::fsync(item); }) == 0 ? 0 : errno;
}

std::vector<Path> temporaryFolderPlaces(const Path& /*destination*/) {
  // Private to the user, on the volume of the home folder, where a staging directory usually is.
  std::array<char, PATH_MAX> folder{};
  const auto length = ::confstr(_CS_DARWIN_USER_TEMP_DIR, folder.data(), folder.size());
  if (length == 0 || length > folder.size()) throwErrno("find", "the user's temporary folder", ENOENT);
  return {Path(folder.data())};
}

timespec accessTime(const struct stat& status) noexcept { return status.st_atimespec; }

timespec modificationTime(const struct stat& status) noexcept { return status.st_mtimespec; }

}  // namespace brindlewick::posix
