#pragma once

#include <cstddef>

#include "platform/HTTPSSession.h"

namespace brindlewick {

/// The body of one response while it arrives in memory, up to a limit. Not safe to use from two threads at once.
class LimitedBody {
 public:
  explicit LimitedBody(std::size_t byteLimit) noexcept : byteLimit_(byteLimit) {}

  /// Whether a body of this declared length is wanted at all.
  [[nodiscard]] bool wants(const std::optional<std::uint64_t>& declaredByteCount) noexcept;

  /// Takes the next bytes. Whether more is wanted: not once the body is longer than the limit.
  [[nodiscard]] bool append(ByteView bytes);

  [[nodiscard]] bool exceededLimit() const noexcept { return exceededLimit_; }
  [[nodiscard]] Bytes take() noexcept { return std::move(bytes_); }

 private:
  std::size_t byteLimit_;
  Bytes bytes_;
  bool exceededLimit_ = false;
};

}  // namespace brindlewick
