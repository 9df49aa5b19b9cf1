#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "platform/Bytes.h"

namespace brindlewick {

using SHA256Digest = std::array<std::uint8_t, 32>;

/// SHA-256 (FIPS 180-4) over a stream of bytes.
class SHA256 {
 public:
  SHA256();
  ~SHA256();
  SHA256(const SHA256&) = delete;
  SHA256& operator=(const SHA256&) = delete;

  void update(ByteView bytes);
  /// The digest of everything so far; the object is used up.
  [[nodiscard]] SHA256Digest finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brindlewick
