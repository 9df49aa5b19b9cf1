#include "TargetFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace brindlewick::ditto {
namespace {

/// Enough that a walk up a long path opens few folders again.
constexpr std::size_t maximumOpenFolderCount = 16;
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

/// How much two paths have in common in whole components.
std::size_t sharedByteCount(const std::string& a, const std::string& b) {
  const auto [inA, inB] = std::ranges::mismatch(a, b);
  const auto count = static_cast<std::size_t>(inA - a.begin());
  if ((inA == a.end() || *inA == '/') && (inB == b.end() || *inB == '/')) return count;
  const std::size_t slash = a.substr(0, count).rfind('/');
  return slash == a.npos ? 0 : slash;
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
  if (isNew_ && !kept_) rmdir(path_.c_str());
}

std::uint64_t TargetFolder::freeByteCount() const {
  struct statvfs space {};
  if (fstatvfs(root_.number(), &space) != 0) fail("cannot ask for the free space");
  return static_cast<std::uint64_t>(space.f_bavail) * space.f_frsize;
}

void TargetFolder::createFolder(const std::string& path) {
  if (mkdirat(parentOf(path), lastComponent(path), 0700) != 0) fail("cannot create a folder");
}

Descriptor TargetFolder::createFile(const std::string& path) {
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  Descriptor file(openat(parentOf(path), lastComponent(path), flags, 0600));
  if (file.number() < 0) fail("cannot create a file");
  return file;
}

void TargetFolder::finishFolder(const std::string& path, mode_t mode, const timespec* modified) {
  setAttributes(folderAt(path), mode, modified);
}

void TargetFolder::reopenFolder(const std::string& path) noexcept try {
  setAttributes(folderAt(path), 0700, nullptr);
} catch (const std::exception&) {
}

void TargetFolder::removeFolder(const std::string& path) noexcept { remove(path, AT_REMOVEDIR); }

void TargetFolder::remove(const std::string& path, int flags) noexcept try {
  unlinkat(parentOf(path), lastComponent(path), flags);
} catch (const std::exception&) {
}

const Descriptor& TargetFolder::folderAt(const std::string& path) {
  const std::size_t shared = sharedByteCount(path, openPath_);
  while (!open_.empty() && open_.back().pathByteCount > shared) open_.pop_back();
  openPath_ = path;
  for (std::size_t at = open_.empty() ? 0 : open_.back().pathByteCount; at < path.size();) {
    const std::size_t begin = at == 0 ? 0 : at + 1;
    at = std::min(path.find('/', begin), path.size());
    const Descriptor& parent = open_.empty() ? root_ : open_.back().folder;
    Descriptor folder(openat(parent.number(), path.substr(begin, at - begin).c_str(), folderFlags | O_NOFOLLOW));
    if (folder.number() < 0) fail("cannot open a folder");
    open_.push_back({at, std::move(folder)});
    if (open_.size() > maximumOpenFolderCount) open_.pop_front();
  }
  return path.empty() ? root_ : open_.back().folder;
}

int TargetFolder::parentOf(const std::string& path) { return folderAt(parentPath(path)).number(); }

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
