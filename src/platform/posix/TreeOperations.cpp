#include "platform/posix/TreeOperations.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>

#include "platform/posix/FileCopy.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/SystemCalls.h"
#include "platform/posix/TreeTraversal.h"

namespace brindlewick::posix {
namespace {

struct stat statusAt(int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) throwErrno("examine", name);
  return status;
}

/// Collects what lies below the item that is visited.
class Walking final : public TreeVisitor {
 public:
  [[nodiscard]] bool meet(int folder, const std::string& name) override {
    if (depth_ == 0) return true;  // the root itself, which must be a directory
    // What no path can name is of use to nobody, and the paths of a tree without end would need memory without end.
    if (prefix_.size() + name.size() >= PATH_MAX) throwErrno("walk to", name, ENAMETOOLONG);
    found_.push_back({prefix_ + name, kindOf(statusAt(folder, name).st_mode)});
    return found_.back().kind == FileKind::directory;
  }

  [[nodiscard]] std::vector<std::string> enter(int directory, const std::string& name) override {
    if (depth_++ > 0) prefix_ += name + "/";
    return TreeVisitor::enter(directory, name);
  }

  void leave(int /*folder*/, const std::string& name, int /*directory*/) override {
    if (--depth_ > 0) prefix_.resize(prefix_.size() - name.size() - 1);
  }

  [[nodiscard]] std::vector<TreeItem> found() && noexcept { return std::move(found_); }

 private:
  int depth_ = 0;
  std::string prefix_;
  std::vector<TreeItem> found_;
};

void finishCopy(int from, int to, const struct stat& status, const std::string& name) {
  copyExtendedAttributes(from, to);
  if (::fchmod(to, status.st_mode & 07777) != 0) throwErrno("set the permissions of", name);
  const timespec times[] = {accessTime(status), modificationTime(status)};
  if (::futimens(to, times) != 0) throwErrno("set the times of", name);
}

void copyLink(int from, int to, const std::string& name, const std::string& newName, const struct stat& status) {
  std::string target(static_cast<std::size_t>(std::max<off_t>(status.st_size, 255)) + 1, '\0');
  const auto length = ::readlinkat(from, name.c_str(), target.data(), target.size());
  if (length < 0 || static_cast<std::size_t>(length) == target.size()) throwErrno("read the link", name);
  target.resize(static_cast<std::size_t>(length));
  if (::symlinkat(target.c_str(), to, newName.c_str()) != 0) throwErrno("create the link", newName);
  const timespec times[] = {accessTime(status), modificationTime(status)};
  if (::utimensat(to, newName.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) throwErrno("set the times of", newName);
}

void copyRegularFile(int fromFolder, int toFolder, const std::string& name, const std::string& newName) {
  const auto from = openForReading(fromFolder, name.c_str());
  struct stat status {};
  if (::fstat(from.get(), &status) != 0) throwErrno("examine", name);
  if (!S_ISREG(status.st_mode)) throwErrno("copy", name, EINVAL);  // it has just become something else
  const auto to = copyFile(from.get(), toFolder, newName.c_str());
  beginWriteBack(to.get());
  finishCopy(from.get(), to.get(), status, name);
}

/// Builds the copy beside the walk through the original.
class Copying final : public TreeVisitor {
 public:
  Copying(int toFolder, std::string newName) : to_(toFolder), newName_(std::move(newName)) {}

  [[nodiscard]] bool meet(int folder, const std::string& name) override {
    throwIfInterrupted();
    const auto status = statusAt(folder, name);
    if (S_ISDIR(status.st_mode)) return true;
    if (S_ISLNK(status.st_mode)) {
      copyLink(folder, to_.folder(), name, nameOfCopy(name), status);
    } else if (S_ISREG(status.st_mode)) {
      copyRegularFile(folder, to_.folder(), name, nameOfCopy(name));
    } else {
      throwErrno("copy", name, EINVAL);  // a device, pipe or socket has no place in a bundle
    }
    return false;
  }

  [[nodiscard]] std::vector<std::string> enter(int directory, const std::string& name) override {
    const auto& newName = nameOfCopy(name);
    auto created = tryCreateFolder(to_.folder(), newName.c_str(), 0700);
    if (!created) throwErrno("create", newName);
    to_.descend(std::move(created));
    return TreeVisitor::enter(directory, name);
  }

  void leave(int /*folder*/, const std::string& name, int directory) override {
    struct stat status {};
    if (::fstat(directory, &status) != 0) throwErrno("examine", name);
    finishCopy(directory, to_.ascend().get(), status, name);
  }

 private:
  [[nodiscard]] const std::string& nameOfCopy(const std::string& name) const {
    return to_.depth() == 0 ? newName_ : name;
  }

  FolderTrail to_;
  std::string newName_;
};

/// Hands everything to the drive only: the one flush at the end of the tree takes along all that its cache holds.
class Syncing final : public TreeVisitor {
 public:
  [[nodiscard]] bool meet(int folder, const std::string& name) override {
    const auto kind = kindOf(statusAt(folder, name).st_mode);
    if (kind == FileKind::regular) throwUnlessSynced(fsync(openForReading(folder, name.c_str()).get()), name);
    return kind == FileKind::directory;  // anything else is nothing but what its folder holds
  }

  void leave(int /*folder*/, const std::string& name, int directory) override {
    if (const int code = fsync(directory); !isUnsupported(code)) throwUnlessSynced(code, name);
  }

 private:
  static int fsync(int item) noexcept {
    return uninterrupted([&] { return ::fsync(item); }) == 0 ? 0 : errno;
  }

  static void throwUnlessSynced(int code, const std::string& name) {
    if (code != 0) throwErrno("sync", name, code);
  }
};

}  // namespace

std::vector<std::string> listNames(int directory, std::string_view subject) {
  // A stream of its own: reading moves the position that all copies of one descriptor share.
  auto own = openDirectory(directory, ".");
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(own.get()), ::closedir);
  if (!stream) throwErrno("list", subject);
  static_cast<void>(own.release());

  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const auto* entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) throwErrno("list", subject);
  std::ranges::sort(names);
  return names;
}

std::vector<TreeItem> walkTree(const Path& root) {
  Walking walking;
  visitTree(AT_FDCWD, root.string(), walking);
  return std::move(walking).found();
}

void copyTree(const Path& from, const Path& to) {
  const auto fromFolder = openFolderOf(from);
  const auto toFolder = openFolderOf(to);
  Copying copying(toFolder.get(), std::string(to.lastComponent()));
  visitTree(fromFolder.get(), std::string(from.lastComponent()), copying);
}

void syncTree(const Path& root) {
  const auto folder = openFolderOf(root);
  Syncing syncing;
  visitTree(folder.get(), std::string(root.lastComponent()), syncing);
  syncFolder(folder.get(), root.parent().string());
}

}  // namespace brindlewick::posix
