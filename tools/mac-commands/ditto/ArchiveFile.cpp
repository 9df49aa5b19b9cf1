#include "ArchiveFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Refusal.h"

namespace brindlewick::ditto {
namespace {

[[noreturn]] void failWithSystemError(const char* operation) {
  throw std::system_error(errno, std::generic_category(), operation);
}

int openForReading(const char* path) {
  // Without O_NONBLOCK, opening a named pipe would wait for a writer.
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) failWithSystemError("cannot open the archive");
  return descriptor;
}

}  // namespace

ArchiveFile::ArchiveFile(const char* path) : ArchiveFile(openForReading(path)) {}

ArchiveFile::ArchiveFile(int descriptor) : descriptor_(descriptor) {
  struct stat attributes {};
  const bool known = fstat(descriptor_, &attributes) == 0;
  if (!known || !S_ISREG(attributes.st_mode)) {
    close(descriptor_);
    throw Refusal("the archive is not a regular file");
  }
  byteCount_ = static_cast<std::uint64_t>(attributes.st_size);
}

ArchiveFile::~ArchiveFile() { close(descriptor_); }

Bytes ArchiveFile::read(std::uint64_t offset, std::uint64_t byteCount) const {
  if (offset > byteCount_ || byteCount > byteCount_ - offset) throw Refusal("a record lies outside the archive");
  Bytes bytes(byteCount);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count =
        pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithSystemError("cannot read the archive");
    if (count == 0) throw Refusal("the archive became shorter while it was read");
    done += static_cast<std::size_t>(count);
  }
  return bytes;
}

}  // namespace brindlewick::ditto
