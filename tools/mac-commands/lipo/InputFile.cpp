#include "InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Refusal.h"

namespace brindlewick::lipo {
namespace {

[[noreturn]] void failWithSystemError(const char* operation) {
  throw std::system_error(errno, std::generic_category(), operation);
}

int openForReading(const char* path) {
  // Without O_NONBLOCK, opening a named pipe would wait for a writer.
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) failWithSystemError("can't open input file");
  return descriptor;
}

}  // namespace

InputFile::InputFile(const char* path) : InputFile(openForReading(path)) {}

InputFile::InputFile(int descriptor) : descriptor_(descriptor) {
  struct stat attributes {};
  const bool known = fstat(descriptor_, &attributes) == 0;
  if (!known || !S_ISREG(attributes.st_mode)) {
    close(descriptor_);
    throw Refusal("not a regular file");
  }
  byteCount_ = static_cast<std::uint64_t>(attributes.st_size);
}

InputFile::~InputFile() { close(descriptor_); }

bool InputFile::contains(std::uint64_t offset, std::uint64_t byteCount) const noexcept {
  return offset <= byteCount_ && byteCount <= byteCount_ - offset;
}

Bytes InputFile::read(std::uint64_t offset, std::uint64_t byteCount) const {
  if (!contains(offset, byteCount)) throw Refusal("truncated or malformed file");
  Bytes bytes(byteCount);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count =
        pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithSystemError("can't read input file");
    if (count == 0) throw Refusal("the file became shorter while it was read");
    done += static_cast<std::size_t>(count);
  }
  return bytes;
}

}  // namespace brindlewick::lipo
