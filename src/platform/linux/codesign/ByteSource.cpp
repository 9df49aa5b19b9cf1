#include "platform/linux/codesign/ByteSource.h"

#include <unistd.h>

#include <algorithm>

#include "platform/linux/codesign/ByteFields.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::codesign {

Bytes ByteSource::read(std::uint64_t offset, std::uint64_t length) {
  require(offset <= size() && length <= size() - offset, "a range lies inside its file");
  Bytes bytes(static_cast<std::size_t>(length));
  readInto(bytes, offset);
  return bytes;
}

void FileSource::readInto(std::span<std::uint8_t> into, std::uint64_t offset) {
  require(offset <= size_ && into.size() <= size_ - offset, "a range lies inside its file");
  while (!into.empty()) {
    const auto count = posix::uninterrupted(
        [&] { return ::pread(file_.get(), into.data(), into.size(), static_cast<off_t>(offset)); });
    if (count < 0) posix::throwErrno("read", "signed code");
    require(count > 0, "a file keeps its length while it is read");
    into = into.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}

void MemorySource::readInto(std::span<std::uint8_t> into, std::uint64_t offset) {
  std::ranges::copy(range(bytes_, offset, into.size()), into.begin());
}

}  // namespace brindlewick::codesign
