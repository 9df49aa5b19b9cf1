#include "platform/posix/SystemCalls.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/TextCoding.h"
#include "platform/posix/FileCopy.h"

namespace brindlewick::posix {
namespace {

Descriptor openOrThrow(int folder, const char* name, int flags, mode_t permissions = 0) {
  const int descriptor = uninterrupted([&] { return ::openat(folder, name, flags | O_CLOEXEC, permissions); });
  if (descriptor < 0) throwErrno("open", name);
  return Descriptor(descriptor);
}

}  // namespace

Descriptor openForReading(int folder, const char* name) {
  return openOrThrow(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
}

Descriptor openDirectory(int folder, const char* name) {
  auto directory = tryOpenDirectory(folder, name);
  if (!directory) throwErrno("open", name);
  return directory;
}

Descriptor tryOpenDirectory(int folder, const char* name) noexcept {
  constexpr int flags = O_RDONLY | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;
  return Descriptor(uninterrupted([&] { return ::openat(folder, name, flags); }));
}

Descriptor tryOpenFolderOf(const Path& item) noexcept {
  const Path folder = item.parent();
  return Descriptor(uninterrupted([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
}

Descriptor openFolderOf(const Path& item) {
  auto folder = tryOpenFolderOf(item);
  if (!folder) throwErrno("open the folder of", item.string());
  return folder;
}

Descriptor tryCreateFolder(int folder, const char* name, unsigned permissions) noexcept {
  if (::mkdirat(folder, name, 0700) != 0) return {};
  auto created = tryOpenDirectory(folder, name);
  // A umask may have taken our own right to open it.
  if (!created && errno == EACCES) {
    const int code = setModeOfUnreadable(folder, name, 0700);
    if (code == 0) created = tryOpenDirectory(folder, name);
    if (code != 0) errno = code;
  }
  if (created && ::fchmod(created.get(), static_cast<mode_t>(permissions)) == 0) return created;
  const int code = errno;
  ::unlinkat(folder, name, AT_REMOVEDIR);
  created.reset();
  errno = code;
  return {};
}

Descriptor createFile(int folder, const char* name, unsigned permissions) {
  auto file = openOrThrow(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  // Not through open: the umask would take bits away there.
  if (::fchmod(file.get(), static_cast<mode_t>(permissions)) != 0) {
    const int code = errno;
    ::unlinkat(folder, name, 0);
    throwErrno("set the permissions of", name, code);
  }
  return file;
}

int setModeAt(int folder, const char* name, unsigned permissions) noexcept {
  const auto mode = static_cast<mode_t>(permissions);
  const Descriptor item(
      uninterrupted([&] { return ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  if (item) return ::fchmod(item.get(), mode) == 0 ? 0 : errno;
  // A link. Some systems would change the mode of the link itself.
  if (errno == ELOOP) return ELOOP;
  return setModeOfUnreadable(folder, name, mode);
}

Pipe makePipe() {
  int ends[2];
  if (::pipe(ends) != 0) throwErrno("make", "a pipe");
  Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  return pipe;
}

bool isUnsupported(int code) noexcept {
  return code == EINVAL || code == ENOSYS || code == ENOTSUP || code == EOPNOTSUPP;
}

void writeAll(int descriptor, ByteView bytes, std::string_view subject) {
  while (!bytes.empty()) {
    const auto count = uninterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    if (count < 0) throwErrno("write", subject);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

void syncDescriptor(int descriptor, std::string_view subject) {
  if (const int code = flushToDrive(descriptor); code != 0) throwErrno("sync", subject, code);
}

void syncFolder(int folder, std::string_view subject) {
  if (const int code = flushToDrive(folder); code != 0 && !isUnsupported(code)) throwErrno("sync", subject, code);
}

FileKind kindOf(mode_t mode) noexcept {
  if (S_ISREG(mode)) return FileKind::regular;
  if (S_ISDIR(mode)) return FileKind::directory;
  if (S_ISLNK(mode)) return FileKind::symbolicLink;
  return FileKind::other;
}

std::string temporaryName(std::string_view base) {
  // The base is cut so that the whole stays within the 255 bytes of a name.
  return "." + std::string(base.substr(0, 200)) + "." + randomUUID();
}

}  // namespace brindlewick::posix
