#include "platform/posix/TreeOperations.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "platform/posix/FileCopy.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

struct stat statusAt(int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) throwErrno("examine", name);
  return status;
}

void checkDepth(int depth, const std::string& subject) {
  if (depth > maximumDepth) throwErrno("descend into", subject, ENAMETOOLONG);
}

void walkDirectory(int directory, const std::string& prefix, int depth, std::vector<TreeItem>& found) {
  checkDepth(depth, prefix);
  for (const auto& name : listNames(directory, prefix)) {
    const auto kind = kindOf(statusAt(directory, name).st_mode);
    found.push_back({prefix + name, kind});
    if (kind == FileKind::directory)
      walkDirectory(openDirectory(directory, name.c_str()).get(), prefix + name + "/", depth + 1, found);
  }
}

void removeContents(int directory, const std::string& subject, int depth);

void removeItem(int folder, const std::string& name, int depth) {
  if (::unlinkat(folder, name.c_str(), 0) == 0 || errno == ENOENT) return;
  // Linux answers EISDIR for a directory, other systems EPERM.
  if (errno != EISDIR && errno != EPERM) throwErrno("remove", name);
  const int code = errno;
  if (kindOf(statusAt(folder, name).st_mode) != FileKind::directory) throwErrno("remove", name, code);
  removeContents(openDirectory(folder, name.c_str()).get(), name, depth);
  if (::unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) throwErrno("remove", name);
}

/// Removes as much as it can and then throws the first error, so that one stubborn file leaves little behind.
void removeContents(int directory, const std::string& subject, int depth) {
  checkDepth(depth, subject);
  std::exception_ptr first;
  for (const auto& name : listNames(directory, subject)) {
    try {
      removeItem(directory, name, depth + 1);
    } catch (const PlatformError&) {
      if (!first) first = std::current_exception();
    }
  }
  if (first) std::rethrow_exception(first);
}

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

void copyItem(int fromFolder, int toFolder, const std::string& name, const std::string& newName, int depth) {
  checkDepth(depth, name);
  throwIfInterrupted();
  auto status = statusAt(fromFolder, name);
  if (S_ISLNK(status.st_mode)) return copyLink(fromFolder, toFolder, name, newName, status);

  const auto from = openForReading(fromFolder, name.c_str());
  if (::fstat(from.get(), &status) != 0) throwErrno("examine", name);
  if (S_ISREG(status.st_mode)) {
    const auto to = copyFile(from.get(), toFolder, newName.c_str());
    beginWriteBack(to.get());
    finishCopy(from.get(), to.get(), status, name);
  } else if (S_ISDIR(status.st_mode)) {
    if (::mkdirat(toFolder, newName.c_str(), 0700) != 0) throwErrno("create", newName);
    const auto to = openDirectory(toFolder, newName.c_str());
    for (const auto& child : listNames(from.get(), name)) copyItem(from.get(), to.get(), child, child, depth + 1);
    finishCopy(from.get(), to.get(), status, name);
  } else {
    throwErrno("copy", name, EINVAL);  // a device, pipe or socket has no place in a bundle
  }
}

void syncItem(int folder, const std::string& name, int depth) {
  checkDepth(depth, name);
  const auto kind = kindOf(statusAt(folder, name).st_mode);
  if (kind != FileKind::regular && kind != FileKind::directory) return;  // its folder holds all that it is
  const auto item = openForReading(folder, name.c_str());
  if (kind == FileKind::directory)
    for (const auto& child : listNames(item.get(), name)) syncItem(item.get(), child, depth + 1);
  // Handed to the drive only: the one flush at the end of the tree takes along all that its cache holds.
  if (uninterrupted([&] { return ::fsync(item.get()); }) != 0) throwErrno("sync", name);
}

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
  std::vector<TreeItem> found;
  walkDirectory(openDirectory(AT_FDCWD, root.c_str()).get(), "", 0, found);
  return found;
}

void copyTree(const Path& from, const Path& to) {
  const auto fromFolder = openFolderOf(from);
  const auto toFolder = openFolderOf(to);
  copyItem(fromFolder.get(), toFolder.get(), std::string(from.lastComponent()), std::string(to.lastComponent()), 0);
}

void removeTree(const Path& path) {
  // Opened before the renaming: what is set aside in a folder is removed there, wherever that folder's name leads next.
  const auto folder = tryOpenFolderOf(path);
  if (!folder && errno == ENOENT) return;
  if (!folder) throwErrno("open the folder of", path.string());
  const std::string name(path.lastComponent());
  const auto hidden = temporaryName(name);
  const int code = renameExclusively(folder.get(), name.c_str(), folder.get(), hidden.c_str());
  if (code == ENOENT) return;
  if (code != 0) throwErrno("set aside", path.string(), code);
  removeItem(folder.get(), hidden, 0);
}

void syncTree(const Path& root) {
  const auto folder = openFolderOf(root);
  syncItem(folder.get(), std::string(root.lastComponent()), 0);
  syncDescriptor(folder.get(), root.parent().string());
}

}  // namespace brindlewick::posix
