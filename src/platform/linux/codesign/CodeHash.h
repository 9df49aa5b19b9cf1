#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick::codesign {

/// The digests that a CodeDirectory can use, numbered as in its hashType byte (Apple, cs_blobs.h). 3 is SHA-256 cut to
/// its first 20 bytes. 5 (SHA-512) has a name and no support on macOS: it is not one of them.
enum class HashType : std::uint8_t { sha1 = 1, sha256 = 2, sha256Truncated = 3, sha384 = 4 };

[[nodiscard]] std::optional<HashType> hashTypeOf(std::uint8_t number) noexcept;

/// How many bytes a hash of this type has: 20, 32, 20, 48.
[[nodiscard]] std::size_t hashSize(HashType type) noexcept;

/// The first 20 bytes of the digest of a CodeDirectory under its own hash type: the name of that code.
using CDHash = std::array<std::uint8_t, 20>;

/// A hash of at most 48 bytes, held in place so that hashing a page allocates nothing.
class HashValue {
 public:
  [[nodiscard]] ByteView bytes() const noexcept { return {storage_.data(), size_}; }
  [[nodiscard]] bool equals(ByteView other) const noexcept;

 private:
  friend class CodeHasher;
  std::array<std::uint8_t, 64> storage_{};
  std::size_t size_ = 0;
};

/// Hashes streams under one hash type, one after the other.
class CodeHasher {
 public:
  explicit CodeHasher(HashType type);
  ~CodeHasher();
  CodeHasher(CodeHasher&&) noexcept;
  CodeHasher& operator=(CodeHasher&&) noexcept;

  [[nodiscard]] HashType type() const noexcept;
  void update(ByteView bytes);
  /// The hash of everything since the last one; the next stream begins.
  [[nodiscard]] HashValue finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

[[nodiscard]] HashValue hashOf(HashType type, ByteView bytes);

}  // namespace brindlewick::codesign
