#include "platform/posix/DescriptorOutput.h"

#include <unistd.h>

#include "platform/posix/SystemCalls.h"

namespace brindlewick {

void DescriptorOutput::write(ByteView bytes) noexcept {
  while (!bytes.empty()) {
    const auto count = posix::uninterrupted([&] { return ::write(STDOUT_FILENO, bytes.data(), bytes.size()); });
    if (count <= 0) return;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

}  // namespace brindlewick
