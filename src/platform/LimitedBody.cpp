#include "platform/LimitedBody.h"

namespace brindlewick {
namespace {

/// More than any transport hands over at once; only a measure of memory.
constexpr std::size_t largestPieceByteCount = 512 * 1024;

}  // namespace

bool LimitedBody::wants(const std::optional<std::uint64_t>& declaredByteCount) noexcept {
  exceededLimit_ = exceededLimit_ || (declaredByteCount && *declaredByteCount > byteLimit_);
  return !exceededLimit_;
}

bool LimitedBody::append(ByteView bytes) {
  if (exceededLimit_) return false;
  if (bytes_.empty()) bytes_.reserve(byteLimit_ + largestPieceByteCount);  // so that it never grows by copying
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  exceededLimit_ = bytes_.size() > byteLimit_;
  return !exceededLimit_;
}

}  // namespace brindlewick
