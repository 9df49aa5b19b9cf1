#include "platform/posix/PosixFileSystem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>

#include "platform/TextCoding.h"
#include "platform/posix/FileCopy.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/PosixOpenItem.h"
#include "platform/posix/Renaming.h"
#include "platform/posix/SystemCalls.h"
#include "platform/posix/TreeOperations.h"

namespace brindlewick {
namespace {

using posix::throwErrno;

/// A file under a hidden name until it is whole; removed unless it was put in its place.
class PendingFile {
 public:
  PendingFile(int folder, std::string_view finalName, unsigned permissions)
      : folder_(folder),
        name_(posix::temporaryName(finalName)),
        file_(posix::createFile(folder, name_.c_str(), permissions)) {}
  ~PendingFile() {
    if (!placed_) ::unlinkat(folder_, name_.c_str(), 0);
  }
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  [[nodiscard]] int descriptor() const noexcept { return file_.get(); }
  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  void markPlaced() noexcept { placed_ = true; }

 private:
  int folder_;
  std::string name_;
  Descriptor file_;
  bool placed_ = false;
};

/// The lock lives in what was opened: no file is made, and none stays behind.
class HeldLock final : public DirectoryLock {
 public:
  explicit HeldLock(Descriptor directory) noexcept : directory_(std::move(directory)) {}

 private:
  Descriptor directory_;
};

void copyAcross(const Path& from, const Path& to) {
  const auto source = posix::openForReading(AT_FDCWD, from.c_str());
  struct stat status {};
  if (::fstat(source.get(), &status) != 0) throwErrno("examine", from.string());
  if (!S_ISREG(status.st_mode)) throwErrno("move", from.string(), EXDEV);

  const auto folder = posix::openFolderOf(to);
  PendingFile pending(folder.get(), to.lastComponent(), static_cast<unsigned>(status.st_mode) & 07777U);
  posix::copyContent(source.get(), pending.descriptor());
  posix::syncDescriptor(pending.descriptor(), to.string());
  const std::string name(to.lastComponent());
  if (const int code = posix::renameExclusively(folder.get(), pending.name().c_str(), folder.get(), name.c_str());
      code != 0)
    throwErrno("move to", to.string(), code);
  pending.markPlaced();
  if (::unlink(from.c_str()) != 0) {
    const int code = errno;
    ::unlinkat(folder.get(), name.c_str(), 0);
    throwErrno("remove", from.string(), code);
  }
}

/// Returns 0 or the error number.
int makeDirectory(const Path& path, unsigned permissions) noexcept {
  return posix::tryCreateFolder(AT_FDCWD, path.c_str(), permissions) ? 0 : errno;
}

bool isDirectory(const Path& path) noexcept {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::optional<FileAttributes> PosixFileSystem::attributes(const Path& path) { return posix::attributesOf(path); }

std::unique_ptr<OpenItem> PosixFileSystem::open(const Path& path, FinalLink link) {
  return posix::openItem(path, link == FinalLink::refused ? O_NOFOLLOW : 0);
}

std::vector<std::string> PosixFileSystem::list(const Path& directory) {
  return posix::listNames(posix::openDirectory(AT_FDCWD, directory.c_str()).get(), directory.string());
}

std::vector<TreeItem> PosixFileSystem::walk(const Path& root) { return posix::walkTree(root); }

bool PosixFileSystem::isWritable(const Path& directory) {
  return ::faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

void PosixFileSystem::createDirectory(const Path& path, unsigned permissions) {
  if (const int code = makeDirectory(path, permissions); code != 0) throwErrno("create", path.string(), code);
}

void PosixFileSystem::createDirectories(const Path& path, unsigned permissions) {
  int code = makeDirectory(path, permissions);
  if (code == ENOENT && path.parent() != path) {
    createDirectories(path.parent(), permissions);
    // Once more and no oftener: some file systems say so of every name, although the folder is there.
    code = makeDirectory(path, permissions);
  }
  if (code != 0 && !(code == EEXIST && isDirectory(path))) throwErrno("create", path.string(), code);
}

void PosixFileSystem::setPermissions(const Path& path, unsigned permissions) {
  if (const int code = posix::setModeAt(AT_FDCWD, path.c_str(), permissions); code != 0)
    throwErrno("set the permissions of", path.string(), code);
}

void PosixFileSystem::writeAtomically(const Path& path, ByteView content, unsigned permissions) {
  const auto folder = posix::openFolderOf(path);
  PendingFile pending(folder.get(), path.lastComponent(), permissions);
  posix::writeAll(pending.descriptor(), content, path.string());
  posix::syncDescriptor(pending.descriptor(), path.string());
  const std::string name(path.lastComponent());
  if (::renameat(folder.get(), pending.name().c_str(), folder.get(), name.c_str()) != 0)
    throwErrno("replace", path.string());
  pending.markPlaced();
  // The content stands in its place now: whoever was told of a failure would undo, or say, what is no longer true.
  static_cast<void>(posix::flushToDrive(folder.get()));
}

void PosixFileSystem::move(const Path& from, const Path& to) {
  const int code = posix::renameExclusively(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str());
  if (code == EXDEV) return copyAcross(from, to);
  if (code != 0) throwErrno("move to", to.string(), code);
}

void PosixFileSystem::exchange(const Path& one, const Path& other) {
  const int code = posix::exchangeNames(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str());
  if (code != 0) throwErrno("exchange", one.string(), code);
}

void PosixFileSystem::copyTree(const Path& from, const Path& to) { posix::copyTree(from, to); }

void PosixFileSystem::removeTree(const Path& path) { posix::removeTree(path); }

void PosixFileSystem::sync(const Path& path, Extent extent) {
  if (extent == Extent::tree) return posix::syncTree(path);
  const Descriptor item(
      posix::uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  struct stat status {};
  if (!item || ::fstat(item.get(), &status) != 0) throwErrno("open", path.string());
  (S_ISDIR(status.st_mode) ? posix::syncFolder : posix::syncDescriptor)(item.get(), path.string());
}

std::unique_ptr<DirectoryLock> PosixFileSystem::tryLock(const Path& directory) {
  throwIfInterrupted();
  Descriptor opened(
      posix::uninterrupted([&] { return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC); }));
  if (!opened) throwErrno("open", directory.string());
  if (posix::uninterrupted([&] { return ::flock(opened.get(), LOCK_EX | LOCK_NB); }) == 0)
    return std::make_unique<HeldLock>(std::move(opened));
  if (errno == EWOULDBLOCK) return nullptr;
  throwErrno("lock", directory.string());
}

Path PosixFileSystem::createTemporaryDirectory(const Path& destination) {
  int code = ENOENT;
  for (const auto& place : posix::temporaryFolderPlaces(destination)) {
    const auto folder = place / (".BrindlewickDownload." + randomUUID());
    code = makeDirectory(folder, 0700);
    if (code == 0) return folder;
  }
  throwErrno("create a temporary folder for", destination.string(), code);
}

}  // namespace brindlewick
