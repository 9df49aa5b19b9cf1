#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "platform/FileSystem.h"
#include "platform/PlatformError.h"
#include "platform/posix/Descriptor.h"

/// The plain calls, with EINTR repeated and failures thrown. Each takes a folder's descriptor (AT_FDCWD for absolute
/// paths) and a name relative to it.
namespace brindlewick::posix {

[[noreturn]] inline void throwErrno(std::string_view operation, std::string_view subject, int code = errno) {
  throw PlatformError(operation, subject, std::error_code(code, std::generic_category()));
}

/// Calls until the answer is not "interrupted".
template <typename Call>
[[nodiscard]] auto uninterrupted(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

/// Opens for reading without following a final link, without waiting and without inheriting.
[[nodiscard]] Descriptor openForReading(int folder, const char* name);
[[nodiscard]] Descriptor openDirectory(int folder, const char* name);
/// The same; empty, with the reason in errno, if it fails.
[[nodiscard]] Descriptor tryOpenDirectory(int folder, const char* name) noexcept;

/// Opens the folder that holds an item; empty, with the reason in errno, if that fails. Unlike the item itself, the way
/// to it may lead through links, also a final one: whoever names a folder decides where it lies.
[[nodiscard]] Descriptor tryOpenFolderOf(const Path& item) noexcept;
/// The same; throws PlatformError if it fails.
[[nodiscard]] Descriptor openFolderOf(const Path& item);

/// Creates a directory with exactly these permissions, whatever the umask, and opens it. Empty, with the reason in
/// errno and nothing created, if that fails; what exists is a failure.
[[nodiscard]] Descriptor tryCreateFolder(int folder, const char* name, unsigned permissions) noexcept;

/// Creates a file for writing with exactly these permissions; what exists is an error.
[[nodiscard]] Descriptor createFile(int folder, const char* name, unsigned permissions);

/// Sets the twelve permission bits of the item itself, whatever the umask; a final link is refused (ELOOP). Needs no
/// /proc for what this process may read. Returns 0 or the error number.
[[nodiscard]] int setModeAt(int folder, const char* name, unsigned permissions) noexcept;

struct Pipe {
  Descriptor reader;
  Descriptor writer;
};

/// A pipe whose ends no child inherits.
[[nodiscard]] Pipe makePipe();

/// Whether an error number says that a system or a file system does not have a call, not that the call went wrong.
[[nodiscard]] bool isUnsupported(int code) noexcept;

void writeAll(int descriptor, ByteView bytes, std::string_view subject);
void syncDescriptor(int descriptor, std::string_view subject);

/// Makes a folder's list of names durable. That a file system cannot do this for folders (some of networks cannot) is
/// no failure: nothing better can be done there.
void syncFolder(int folder, std::string_view subject);

[[nodiscard]] FileKind kindOf(mode_t mode) noexcept;

/// A hidden name that nobody else has, for what is not yet, or no longer, in its place.
[[nodiscard]] std::string temporaryName(std::string_view base);

}  // namespace brindlewick::posix
