#include "platform/ReadWhole.h"

#include <algorithm>

namespace brindlewick {

std::optional<Bytes> readWhole(OpenItem& item, std::size_t maximumByteCount) {
  constexpr std::size_t chunkByteCount = 65'536;
  Bytes content;
  for (;;) {
    const auto known = content.size();
    content.resize(known + std::min(chunkByteCount, maximumByteCount + 1 - known));
    const auto count = item.read(std::span(content).subspan(known));
    content.resize(known + count);
    if (count == 0) return content;
    if (content.size() > maximumByteCount) return std::nullopt;
  }
}

}  // namespace brindlewick
