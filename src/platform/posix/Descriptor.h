#pragma once

#include <unistd.h>

#include <utility>

namespace brindlewick {

/// Owns one file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      reset();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int get() const noexcept { return descriptor_; }
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }
  [[nodiscard]] explicit operator bool() const noexcept { return descriptor_ >= 0; }
  void reset() noexcept {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
  }

 private:
  int descriptor_ = -1;
};

}  // namespace brindlewick
