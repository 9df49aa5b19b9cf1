#pragma once

#include <cstdint>
#include <span>

#include "platform/Bytes.h"
#include "platform/posix/Descriptor.h"

namespace brindlewick::codesign {

/// Bytes of a known length that are read piece by piece: a file that may be larger than memory, or a buffer.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  [[nodiscard]] virtual std::uint64_t size() const = 0;

  /// Fills `into` from `offset`. Throws Refusal when that many bytes are not there, PlatformError when they cannot be
  /// read.
  virtual void readInto(std::span<std::uint8_t> into, std::uint64_t offset) = 0;

  /// A copy of a range; its length is checked before memory is taken.
  [[nodiscard]] Bytes read(std::uint64_t offset, std::uint64_t length);
};

/// An open regular file. Its length is the one it had when it was opened: what is appended later is not read, what is
/// cut away later is a Refusal.
class FileSource final : public ByteSource {
 public:
  FileSource(Descriptor file, std::uint64_t size) noexcept : file_(std::move(file)), size_(size) {}
  [[nodiscard]] std::uint64_t size() const override { return size_; }
  void readInto(std::span<std::uint8_t> into, std::uint64_t offset) override;

 private:
  Descriptor file_;
  std::uint64_t size_;
};

/// Bytes in memory that somebody else keeps.
class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(ByteView bytes) noexcept : bytes_(bytes) {}
  [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
  void readInto(std::span<std::uint8_t> into, std::uint64_t offset) override;

 private:
  ByteView bytes_;
};

}  // namespace brindlewick::codesign
