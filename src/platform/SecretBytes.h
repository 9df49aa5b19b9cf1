#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "platform/Bytes.h"

namespace brindlewick {

/// Bytes that must not leak: in memory that is locked against swapping, guarded against overruns and wiped when
/// released. They move but are never copied. Throws std::bad_alloc when the system gives no memory.
class SecretBytes {
 public:
  explicit SecretBytes(std::size_t byteCount);
  ~SecretBytes();
  SecretBytes(SecretBytes&& other) noexcept
      : bytes_(std::exchange(other.bytes_, nullptr)), byteCount_(std::exchange(other.byteCount_, 0)) {}
  SecretBytes& operator=(SecretBytes&& other) noexcept {
    std::swap(bytes_, other.bytes_);
    std::swap(byteCount_, other.byteCount_);
    return *this;
  }
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;

  [[nodiscard]] std::span<std::uint8_t> writable() noexcept { return {bytes_, byteCount_}; }
  [[nodiscard]] ByteView view() const noexcept { return {bytes_, byteCount_}; }
  [[nodiscard]] std::size_t size() const noexcept { return byteCount_; }

 private:
  std::uint8_t* bytes_;
  std::size_t byteCount_;
};

}  // namespace brindlewick
