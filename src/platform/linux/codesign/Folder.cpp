#include "platform/linux/codesign/Folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <memory>

#include "platform/linux/codesign/Refusal.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::codesign {
namespace {

ItemKind kindOfMode(mode_t mode) noexcept {
  if (S_ISREG(mode)) return ItemKind::file;
  if (S_ISDIR(mode)) return ItemKind::directory;
  return S_ISLNK(mode) ? ItemKind::link : ItemKind::other;
}

std::optional<ItemStatus> statusAt(int directory, const std::string& name) {
  struct stat status {};
  if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    posix::throwErrno("examine", name);
  }
  return ItemStatus{kindOfMode(status.st_mode), (status.st_mode & 0111) != 0,
                    static_cast<std::uint64_t>(status.st_size)};
}

/// The kind as the directory tells it, which saves a call per item on the file systems that do.
ItemKind kindOfEntry(int directory, const dirent& entry) {
  switch (entry.d_type) {
    case DT_REG:
      return ItemKind::file;
    case DT_DIR:
      return ItemKind::directory;
    case DT_LNK:
      return ItemKind::link;
    case DT_UNKNOWN:
      return statusAt(directory, entry.d_name).value_or(ItemStatus{}).kind;
    default:
      return ItemKind::other;
  }
}

FileSource openFile(int directory, const std::string& name) {
  Descriptor file = posix::openForReading(directory, name.c_str());
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) posix::throwErrno("examine", name);
  require(S_ISREG(status.st_mode), "what is read is a regular file");
  return {std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

/// Calls `last` with the directory that holds the last component and that component's name.
template <typename Last>
auto atLastComponent(int directory, std::string_view path, Last last) {
  Descriptor parent;
  for (auto slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/')) {
    const std::string name(path.substr(0, slash));
    parent = posix::openDirectory(parent ? parent.get() : directory, name.c_str());
    path.remove_prefix(slash + 1);
  }
  return last(parent ? parent.get() : directory, std::string(path));
}

}  // namespace

std::vector<FolderItem> Folder::items() const {
  Descriptor copy = posix::openDirectory(directory_.get(), ".");
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(copy.get()), ::closedir);
  if (!stream) posix::throwErrno("list", "a folder");
  static_cast<void>(copy.release());  // the stream closes it
  std::vector<FolderItem> found;
  errno = 0;
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") found.push_back({std::string(name), kindOfEntry(directory_.get(), *entry)});
    errno = 0;
  }
  if (errno != 0) posix::throwErrno("list", "a folder");
  return found;
}

std::optional<ItemStatus> Folder::status(std::string_view name) const {
  return statusAt(directory_.get(), std::string(name));
}

std::string Folder::linkTarget(std::string_view name) const {
  std::array<char, PATH_MAX> text{};
  const auto length = ::readlinkat(directory_.get(), std::string(name).c_str(), text.data(), text.size());
  if (length < 0) posix::throwErrno("read", name);
  require(static_cast<std::size_t>(length) < text.size(), "a link is shorter than the longest path");
  return {text.data(), static_cast<std::size_t>(length)};
}

Folder Folder::folder(std::string_view path) const {
  return atLastComponent(directory_.get(), path, [](int parent, const std::string& name) {
    return Folder(posix::openDirectory(parent, name.c_str()));
  });
}

FileSource Folder::file(std::string_view path) const { return atLastComponent(directory_.get(), path, openFile); }

Bytes Folder::content(std::string_view path, std::uint64_t limit) const {
  FileSource source = file(path);
  require(source.size() <= limit, "a file that is read whole is not larger than its limit");
  return source.read(0, source.size());
}

std::variant<Folder, FileSource> openCode(const Path& path) {
  Descriptor item = posix::openForReading(AT_FDCWD, path.c_str());
  struct stat status {};
  if (::fstat(item.get(), &status) != 0) posix::throwErrno("examine", path.string());
  if (S_ISDIR(status.st_mode)) return Folder(std::move(item));
  require(S_ISREG(status.st_mode), "code is a folder or a file");
  return FileSource(std::move(item), static_cast<std::uint64_t>(status.st_size));
}

}  // namespace brindlewick::codesign
