#include "TargetFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/AsciiText.h"

namespace brindlewick::ditto {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

[[noreturn]] void fail(const char* operation) { throw std::system_error(errno, std::generic_category(), operation); }

std::string parentPath(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

const char* lastComponent(const std::string& path) {
  const auto slash = path.rfind('/');
  return path.c_str() + (slash == std::string::npos ? 0 : slash + 1);
}

bool createIfAbsent(const std::string& path) {
  if (mkdir(path.c_str(), 0755) == 0) return true;
  if (errno != EEXIST) fail("cannot create the folder");
  return false;
}

int openRoot(const std::string& path) {
  const int folder = open(path.c_str(), folderFlags);
  if (folder < 0) fail("cannot open the folder");
  return folder;
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

TargetFolder::TargetFolder(const std::string& path)
    : path_(path), isNew_(createIfAbsent(path)), root_(openRoot(path)) {}

TargetFolder::~TargetFolder() {
  if (kept_) return;
  removeCreated();
  if (isNew_) rmdir(path_.c_str());
}

std::uint64_t TargetFolder::freeByteCount() const {
  struct statvfs space {};
  if (fstatvfs(root_.number(), &space) != 0) fail("cannot ask for the free space");
  return static_cast<std::uint64_t>(space.f_bavail) * space.f_frsize;
}

void TargetFolder::createFolder(const std::string& path) {
  if (mkdirat(parentOf(path), lastComponent(path), 0700) != 0) fail("cannot create a folder");
  created_.push_back({path, true});
}

Descriptor TargetFolder::createFile(const std::string& path) {
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  Descriptor file(openat(parentOf(path), lastComponent(path), flags, 0600));
  if (file.number() < 0) fail("cannot create a file");
  created_.push_back({path, false});
  return file;
}

void TargetFolder::finishFolder(const std::string& path, mode_t mode, const timespec* modified) {
  setAttributes(openFolder(path), mode, modified);
}

Descriptor TargetFolder::openFolder(const std::string& path) const {
  Descriptor folder(openat(root_.number(), ".", folderFlags));
  if (folder.number() < 0) fail("cannot open the folder");
  if (path.empty()) return folder;
  for (const std::string_view component : split(path, '/')) {
    folder = Descriptor(openat(folder.number(), std::string(component).c_str(), folderFlags | O_NOFOLLOW));
    if (folder.number() < 0) fail("cannot open a folder");
  }
  return folder;
}

int TargetFolder::parentOf(const std::string& path) {
  std::string parent = parentPath(path);
  if (lastParentFolder_.number() < 0 || parent != lastParent_) {
    lastParentFolder_ = openFolder(parent);
    lastParent_ = std::move(parent);
  }
  return lastParentFolder_.number();
}

/// Youngest first, so that folders are empty when their turn comes. What cannot be removed stays; there is nobody left
/// to tell.
void TargetFolder::removeCreated() noexcept {
  // Folders that already have their final mode may lack the permission to remove what they hold.
  for (const Created& item : created_) {
    try {
      if (item.isFolder) setAttributes(openFolder(item.path), 0700, nullptr);
    } catch (const std::system_error&) {
    }
  }
  for (; !created_.empty(); created_.pop_back()) {
    const Created& item = created_.back();
    try {
      unlinkat(parentOf(item.path), lastComponent(item.path), item.isFolder ? AT_REMOVEDIR : 0);
    } catch (const std::system_error&) {
    }
  }
}

void setAttributes(const Descriptor& item, mode_t mode, const timespec* modified) {
  const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                             modified != nullptr ? *modified : timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT}};
  if (futimens(item.number(), times) != 0) fail("cannot set the time of an item");
  if (fchmod(item.number(), mode) != 0) fail("cannot set the mode of an item");
}

void writeAll(const Descriptor& file, ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(file.number(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("cannot write a file");
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

}  // namespace brindlewick::ditto
